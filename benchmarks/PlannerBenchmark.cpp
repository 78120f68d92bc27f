#include <algorithm>
#include <cstdio>
#include <numeric>
#include <random>
#include <vector>

#include "Code/Common/DeltaPlanner.h"
#include "benchmarks/Measure.h"

namespace {

constexpr int kOrders = 5140;

/// `count` builds in a row, each with 20 packages from the builds before it, among them one that is
/// installed.
std::vector<ActiveBuild> missingBuilds(std::uint32_t count) {
  std::mt19937 random(count);
  std::vector<ActiveBuild> builds(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    builds[i].buildNumber = 8000 + i;
    builds[i].macDownloadSize = 90000000 + random() % 9000000;
    for (std::uint32_t k = 0; k < 20; ++k) {
      DeltaPackage package;
      package.fromBuildNumber = 8000 + random() % (count + 40);
      package.macDownloadSize = 1000000 + random() % 50000000;
      package.macDownloadUrl = "https://downloads.vantora-storage.example/delta";
      builds[i].deltaPackages.push_back(package);
    }
  }
  return builds;
}

std::int32_t plainSearch(std::vector<ActiveBuild>& missing, const std::vector<std::uint32_t>& installed) {
  for (ActiveBuild& build : missing)
    sortDeltaPackages(build);
  std::vector<std::uint32_t> order(missing.size());
  std::iota(order.begin(), order.end(), 0u);
  std::int32_t best = 0;
  bool more = true;
  for (int tried = 0; more && tried < kOrders; ++tried) {
    std::vector<std::uint32_t> available = installed;
    std::int32_t size = 0;
    (void)downloadSizeForOrder(missing, available, order, size);
    if (tried == 0 || size < best) best = size;
    more = std::next_permutation(order.begin(), order.end());
  }
  return best;
}

void measure(std::uint32_t count, double goal) {
  const std::vector<ActiveBuild> missing = missingBuilds(count);
  const std::vector<std::uint32_t> installed = {7990, 7994, 8000 + count + 3};
  std::int32_t plain = 0;
  DeltaPlan plan;
  benchmark::Comparison best;
  for (int round = 0; round < (count > 50 ? 3 : 7); ++round) {
    auto ours = missing;
    auto theirs = missing;
    const auto once = benchmark::compare(
        1, [&] { (void)planDeltaPath(ours, installed, plan); },
        [&] { plain = plainSearch(theirs, installed); });
    best.ours = std::min(best.ours, once.ours);
    best.peer = std::min(best.peer, once.peer);
  }
  char name[64];
  std::snprintf(name, sizeof name, "planner, %u builds (%.0f us)", count, best.ours * 1e6);
  benchmark::print(name, "each order from scratch", best, benchmark::Meaning::speed, goal);
  if (plan.totalDownloadSize != plain || best.ours > 0.0005)
    std::printf("  FAILED: other plan, or too slow\n");
}

}  // namespace

int main() {
  measure(7, 50);
  measure(9, 50);
  measure(30, 200);
  measure(100, 200);
}
