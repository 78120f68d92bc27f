#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "tools/codesign/Seal.h"

namespace codesign {

/// Where a bundle keeps its seal and the signature over it, relative to the bundle:
/// "Contents/_CodeSignature", or
/// "_CodeSignature" in a bundle without a folder "Contents".
[[nodiscard]] std::filesystem::path signatureFolder(const std::filesystem::path& bundle);

inline constexpr const char* kSealFile = "CodeResources";
inline constexpr const char* kSignatureFile = "CodeSignature";

struct BundleItem {
  std::string path;  ///< relative to the bundle
  SealedItem::Kind kind = SealedItem::Kind::file;
  bool changesUser = false;  ///< a file with a set-user-ID or set-group-ID bit
};

/// Whether the folder at that path, relative to the bundle, is a bundle with a seal of its own.
using IsNestedBundle = std::function<bool(const std::string& path)>;

/// Everything in the bundle but folders, the signature folder, and what is in nested bundles; sorted by path.
/// Throws when the bundle is no folder (a link to one is none), holds anything but files, folders and
/// symbolic links, or cannot be read.
[[nodiscard]] std::vector<BundleItem> listBundle(const std::filesystem::path& bundle,
                                                 const IsNestedBundle& isNestedBundle);

/// The item as a seal describes it. Throws when it cannot be read, and for a link that leads nowhere or, at
/// any step, out of the bundle: it would lead to something else as soon as the bundle is moved.
[[nodiscard]] SealedItem describeItem(const std::filesystem::path& bundle, const BundleItem& item);

/// The bytes of the bundle's seal file. Throws when there is none.
[[nodiscard]] std::string readSealFile(const std::filesystem::path& bundle);
/// The bytes of the signature over it. Throws when there is none.
[[nodiscard]] std::string readSignatureFile(const std::filesystem::path& bundle);

}  // namespace codesign
