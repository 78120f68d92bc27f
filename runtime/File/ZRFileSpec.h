#pragma once

#include "runtime/Strings/ZRString.h"

/// A path split at its last "/" into the folder and the name in it.
/// No run uses it.
class ZRFileSpec {
 public:
  ZRFileSpec() = default;
  /// "/a/b.txt" is the folder "/a/" and the name "b.txt"; a path without "/" is a name in the empty folder;
  /// one that ends with "/" is a folder with the empty name.
  explicit ZRFileSpec(const ZRString& path);
  /// Puts the two together, with one "/" between them unless the folder is empty.
  ZRFileSpec(const ZRString& folder, const ZRString& name);

  /// Empty, or with a "/" at its end.
  [[nodiscard]] const ZRString& folder() const noexcept { return _folder; }
  [[nodiscard]] const ZRString& name() const noexcept { return _name; }
  [[nodiscard]] ZRString path() const { return _folder + _name; }

  /// The name up to its last "." ("b"), and what follows that ("txt"). A name without one, or whose only one
  /// is its first character, has no extension.
  [[nodiscard]] ZRString baseName() const;
  [[nodiscard]] ZRString extension() const;

 private:
  [[nodiscard]] std::size_t extensionDot() const;

  ZRString _folder;
  ZRString _name;
};
