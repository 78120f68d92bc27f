#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>

#include "tools/packager/Archive.h"

namespace packager {

struct DeltaRequest {
  std::filesystem::path sourceBundle;
  std::filesystem::path targetBundle;
  std::uint32_t sourceBuild = 0;
  std::uint32_t targetBuild = 0;
  std::filesystem::path archive;  ///< where the package goes
  Compression compression = Compression::gzip;
  unsigned jobs = 0;  ///< patches made side by side; 0: as many as the machine has processors
};

struct DeltaPackage {
  PublishedFile archive;
  std::size_t patchedFiles = 0;
  std::size_t wholeFiles = 0;
};

/// Makes the package that turns the source build into the target build: a tree "<source>_<target>" with a
/// patch where one is possible and smaller than the file, whole files otherwise, symbolic links and folders
/// as they are, and "FileCheckSums.txt" with every regular file.
///
/// A file is carried whole when its path holds a double quote (the agent's patch command cannot carry it) and
/// when it is executable but not among those that the agent makes executable again after patching.
///
/// Throws std::runtime_error, also for a target bundle that no agent could install from a package: one
/// without the executables of a client, one with a file named "*.bsdiff" (taken for a patch) or with a line
/// feed in a path (the list has one path a line), with a file "FileCheckSums.txt" at the top, with a link
/// that leads outside, or with anything that is not a file, a folder or a link.
DeltaPackage makeDeltaPackage(const DeltaRequest& request);

}  // namespace packager
