#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace packager {

struct TreeItem {
  enum class Kind { folder, file, link };
  std::string path;  ///< relative to the bundle
  Kind kind = Kind::file;
  std::uint64_t sizeBytes = 0;  ///< of a file
  bool executable = false;      ///< a file that anyone may execute
};

/// Everything in a bundle, sorted bytewise by path, so that a folder comes before what is in it. Throws
/// std::runtime_error when there is anything that a delta package cannot deliver (see makeDeltaPackage).
[[nodiscard]] std::vector<TreeItem> deliverableItems(const std::filesystem::path& bundle);

}  // namespace packager
