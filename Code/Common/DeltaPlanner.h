#pragma once

#include <cstdint>
#include <vector>

#include "Code/Common/UpdateInfo.h"
#include "runtime/Code/ZRResult.h"

/// @file
/// In which order missing builds are installed so that the fewest bytes travel: a build installed earlier in
/// a run can be the base of a delta package for a later one. Pure values: no I/O, no time.
///
/// Sizes are bytes in 32 bits, as in the update info; sums wrap around.

struct DeltaPlan {
  /// A permutation of 0 ... n-1 over the missing builds.
  std::vector<std::uint32_t> order;
  /// The expected download of that order, in bytes.
  std::int32_t totalDownloadSize = 0;
};

/// Sorts the build's delta packages by `macDownloadSize` (unsigned), smallest first; equal ones keep their
/// order.
void sortDeltaPackages(ActiveBuild& build);

/// Sorts the delta packages of every missing build and finds the cheapest of the first 5140 orders in
/// lexicographic sequence (all of them for up to 7 builds); of equally cheap ones the first. Fails:
/// ePreconditionFailed (reported to the log) when nothing is missing.
ZRResult planDeltaPath(std::vector<ActiveBuild>& missing, const std::vector<std::uint32_t>& available,
                       DeltaPlan& plan);

// What no run calls: the cost of one build and of one order. The search of `planDeltaPath` has tables
// instead.

/// What installing `build` downloads when the builds `available` are installed: the first of its delta
/// packages, as they stand, with a size of 1 to 2147483647 bytes and an available source; without one, the
/// full archive. Never fails.
ZRResult downloadSizeForBuild(const ActiveBuild& build, const std::vector<std::uint32_t>& available,
                              std::uint32_t& size);

/// What installing the missing builds in `order` downloads. Each build installed is appended to `available`.
/// Fails: ePreconditionFailed (reported to the log) when `order` has not one valid index for each missing
/// build.
ZRResult downloadSizeForOrder(const std::vector<ActiveBuild>& missing, std::vector<std::uint32_t>& available,
                              const std::vector<std::uint32_t>& order, std::int32_t& total);
