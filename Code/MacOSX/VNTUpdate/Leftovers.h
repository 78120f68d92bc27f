#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "Code/Common/UpdateInfo.h"
#include "Code/MacOSX/VNTUpdate/EngineSettings.h"
#include "platform/FileManager.h"

/// @file
/// What earlier runs left behind, by the names that only the agent gives; a folder is never walked through.
/// To be called while no other agent of the user is at work. Failures are logged, and the next run tries
/// again.

/// Removes work in progress that a run which was ended early left in these folders.
void removeUnfinishedWork(platform::FileManager& fileManager, const std::set<std::string>& folders);

/// Removes from the temporary folder what no run will use: unpacked builds and packages, and archives other
/// than those of active builds that are not among the `installed` ones (with the download cache kept: other
/// than those of active builds).
void removeUselessDownloads(platform::FileManager& fileManager, const EngineSettings& settings,
                            const UpdateInfo& info, const std::vector<std::uint32_t>& installed);
