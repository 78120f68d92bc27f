#include <algorithm>
#include <cstdio>
#include <random>
#include <vector>

#include "Code/Common/DeltaPlanner.h"
#include "benchmarks/Measure.h"
#include "tests/common/PlainPlan.h"

namespace {

/// `count` builds in a row, each with 20 packages from the builds before it, among them one that is
/// installed.
std::vector<ActiveBuild> missingBuilds(std::uint32_t count) {
  std::mt19937 random(count);
  std::vector<ActiveBuild> builds(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    builds[i].buildNumber = 8000 + i;
    builds[i].macDownloadSize = static_cast<std::uint32_t>(90000000 + random() % 9000000);
    for (std::uint32_t k = 0; k < 20; ++k) {
      DeltaPackage package;
      package.fromBuildNumber = static_cast<std::uint32_t>(8000 + random() % (count + 40));
      package.macDownloadSize = static_cast<std::uint32_t>(1000000 + random() % 50000000);
      package.macDownloadUrl = "https://downloads.vantora-storage.example/delta";
      builds[i].deltaPackages.push_back(package);
    }
  }
  return builds;
}

void measure(std::uint32_t count, double goal) {
  const std::vector<ActiveBuild> missing = missingBuilds(count);
  const std::vector<std::uint32_t> installed = {7990, 7994, 8000 + count + 3};
  test::PlainPlan plain;
  DeltaPlan plan;
  benchmark::Comparison best;
  for (int round = 0; round < (count > 50 ? 3 : 7); ++round) {
    auto ours = missing;
    const auto once = benchmark::compare(
        1, [&] { (void)planDeltaPath(ours, installed, plan); },
        [&] { plain = test::plainPlan(missing, installed); });
    best.ours = std::min(best.ours, once.ours);
    best.peer = std::min(best.peer, once.peer);
  }
  char name[64];
  std::snprintf(name, sizeof name, "planner, %u builds (%.0f us)", count, best.ours * 1e6);
  benchmark::print(name, "each order from scratch", best, benchmark::Meaning::speed, goal);
  if (plan.order != plain.plan.order || best.ours > 0.0005)
    std::printf("  FAILED: other plan, or too slow\n");
}

}  // namespace

int main() {
  measure(7, 50);
  measure(9, 50);
  measure(30, 200);
  measure(100, 200);
}
