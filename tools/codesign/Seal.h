#pragma once

#include <map>
#include <string>

#include "tools/codesign/Crypto.h"

namespace codesign {

/// What the seal says of one item of a bundle.
struct SealedItem {
  enum class Kind {
    file,    ///< `digest`: of its contents
    link,    ///< `target`: of the symbolic link
    bundle,  ///< a bundle with a seal of its own; `digest`: of that seal
  };
  Kind kind = Kind::file;
  Digest digest;
  std::string target;

  bool operator==(const SealedItem&) const = default;
};

/// Path relative to the bundle, "/" between its components, to what is there. Folders are not listed.
using Seal = std::map<std::string, SealedItem>;

/// The seal's file: a property list with the dictionary "files2", in which each path has a dictionary of one
/// member: "hash2" (data, SHA-256), "symlink" (text) or "cdhash" (data, SHA-256). The same seal gives the
/// same bytes.
[[nodiscard]] std::string toPropertyList(const Seal& seal);

/// Throws when the bytes are no such list; a member that is not known is a fault, not ignored.
[[nodiscard]] Seal sealFromPropertyList(const std::string& bytes);

}  // namespace codesign
