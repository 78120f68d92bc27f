#pragma once

#include <string>

#include "platform/Clock.h"
#include "platform/Error.h"

/// Changes of an item that each system makes in its own way. Errors are of the POSIX domain.
namespace platform {

/// Sets the one attribute. An item that is immutable as asked for is not touched.
[[nodiscard]] Error setImmutable(const std::string& path, bool immutable);
[[nodiscard]] Error setCreationDate(const std::string& path, Date date);

/// Makes a fresh folder on the volume of `destination`. `folder` is its path.
[[nodiscard]] Error makeReplacementFolder(const std::string& destination, std::string& folder);

/// Puts a finished item in the place of the one at `destination` (both are there, on one volume; no trailing
/// "/"), in one step where the volume can. The new one keeps its metadata. Meanwhile the old one is kept
/// beside it under `backupName`, which is free; what is left of that after success does no harm. After a
/// failure `destination` is what it was.
[[nodiscard]] Error putInPlace(const std::string& destination, const std::string& replacement,
                               const std::string& backupName);

}  // namespace platform
