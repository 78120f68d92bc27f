#pragma once

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <vector>

#include "Code/Common/DeltaPlanner.h"

/// @file
/// The plan computed in the plainest way, each order from scratch: what the planner must agree with, and what
/// it is measured against.

namespace test {

struct PlainPlan {
  DeltaPlan plan;
  std::int32_t documentOrderSize = 0;  ///< bytes of the order 0 ... n-1
  bool sawAllOrders = true;
};

/// Bytes of one order; the packages of each build are sorted by size. The sum wraps around.
inline std::int32_t plainSize(const std::vector<ActiveBuild>& missing, std::vector<std::uint32_t> available,
                              const std::vector<std::uint32_t>& order) {
  const auto isUsable = [&](const DeltaPackage& package) {
    return package.macDownloadSize >= 1 && package.macDownloadSize <= 0x7FFFFFFF &&
           std::find(available.begin(), available.end(), package.fromBuildNumber) != available.end();
  };
  std::uint32_t total = 0;
  for (const std::uint32_t index : order) {
    const ActiveBuild& build = missing[index];
    const auto package = std::find_if(build.deltaPackages.begin(), build.deltaPackages.end(), isUsable);
    total += package != build.deltaPackages.end() ? package->macDownloadSize : build.macDownloadSize;
    available.push_back(build.buildNumber);
  }
  return static_cast<std::int32_t>(total);
}

inline PlainPlan plainPlan(std::vector<ActiveBuild> missing, const std::vector<std::uint32_t>& installed) {
  constexpr int kMaxOrders = 5140;
  for (ActiveBuild& build : missing) {
    std::stable_sort(build.deltaPackages.begin(), build.deltaPackages.end(),
                     [](const auto& a, const auto& b) { return a.macDownloadSize < b.macDownloadSize; });
  }
  std::vector<std::uint32_t> order(missing.size());
  std::iota(order.begin(), order.end(), 0u);
  const std::int32_t documentOrderSize = plainSize(missing, installed, order);
  DeltaPlan best{order, documentOrderSize};
  bool more = std::next_permutation(order.begin(), order.end());
  for (int seen = 1; more && seen < kMaxOrders; ++seen) {
    const std::int32_t size = plainSize(missing, installed, order);
    if (size < best.totalDownloadSize) best = {order, size};
    more = std::next_permutation(order.begin(), order.end());
  }
  return {best, documentOrderSize, !more};
}

}  // namespace test
