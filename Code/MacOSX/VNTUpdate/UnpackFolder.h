#pragma once

#include <string>

#include "platform/FileManager.h"

/// @file
/// The temporary folder as a place to unpack into. An unpacking tool follows a link that was there before, so
/// a link that one package leaves behind could lead the next one outside.

/// Removes the symbolic links in the temporary folder that lead outside it (or nowhere), however deep. False,
/// logged, when one cannot be removed or a folder cannot be looked into.
[[nodiscard]] bool removeLinksLeadingOutside(platform::FileManager& fileManager, const std::string& tempPath);

/// Whether there is a folder at the path itself, not a link to one.
[[nodiscard]] bool isRealFolder(const std::string& path);

/// Whether there is nothing at the path, not even a link to nowhere.
[[nodiscard]] bool isAbsent(const std::string& path);
