#pragma once

#include <cstdint>
#include <string>

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
