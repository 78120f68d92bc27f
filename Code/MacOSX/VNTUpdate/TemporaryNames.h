#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// @file
/// Names in the agent's temporary folder, each with a leading "/".

/// The downloaded archive of a full build.
[[nodiscard]] std::string fullArchiveName(std::uint32_t build);
/// The downloaded delta package; it carries the target build only.
[[nodiscard]] std::string deltaArchiveName(std::uint32_t targetBuild);
/// A build's bundle, in the temporary folder and where it is installed.
[[nodiscard]] std::string endpointName(std::uint32_t build);
/// The unpacked delta package.
[[nodiscard]] std::string deltaFolderName(std::uint32_t sourceBuild, std::uint32_t targetBuild);

/// What one of these names (without the "/") is of.
struct TemporaryItem {
  enum class Kind { archive, bundle, package };
  Kind kind;
  std::uint32_t build;  ///< that it is for
};
/// None for a name that is none of these to the letter.
[[nodiscard]] std::optional<TemporaryItem> temporaryItemOf(std::string_view name);
