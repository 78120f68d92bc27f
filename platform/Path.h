#pragma once

#include <string>
#include <string_view>
#include <utility>

/// The parts of a path as texts; nothing is looked up.
namespace platform {

/// The path without trailing "/" (the root itself becomes the empty text).
[[nodiscard]] inline std::string withoutTrailingSlashes(std::string path) {
  path.erase(path.find_last_not_of('/') + 1);
  return path;
}

/// The path with a "/" at its end.
[[nodiscard]] inline std::string withTrailingSlash(std::string path) {
  if (!path.ends_with('/')) path += '/';
  return path;
}

/// The path of the item `name` in a folder: "/a/b", and "/b" in the root, whether that is "/" or empty.
[[nodiscard]] inline std::string joinPath(std::string folder, std::string_view name) {
  return withTrailingSlash(std::move(folder)).append(name);
}

/// The folder part: "/a" of "/a/b" and of "/a/b/", "/" of "/a", "." of "a".
[[nodiscard]] inline std::string parentFolder(const std::string& path) {
  const std::string trimmed = withoutTrailingSlashes(path);
  const auto slash = trimmed.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : trimmed.substr(0, slash);
}

/// The last component: "b" of "/a/b" and of "/a/b/".
[[nodiscard]] inline std::string lastComponent(const std::string& path) {
  const std::string trimmed = withoutTrailingSlashes(path);
  return trimmed.substr(trimmed.rfind('/') + 1);
}

}  // namespace platform
