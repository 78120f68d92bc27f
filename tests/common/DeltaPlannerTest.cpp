#include "Code/Common/DeltaPlanner.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <numeric>
#include <random>
#include <string>

#include "tests/support/LogCapture.h"
#include "tests/support/ResultMatchers.h"

namespace {

using Numbers = std::vector<std::uint32_t>;

DeltaPackage deltaFrom(std::uint32_t source, std::uint32_t size) {
  DeltaPackage package;
  package.fromBuildNumber = source;
  package.macDownloadSize = size;
  return package;
}

ActiveBuild build(std::uint32_t number, std::uint32_t size, std::vector<DeltaPackage> packages = {}) {
  ActiveBuild made;
  made.buildNumber = number;
  made.macDownloadSize = size;
  made.deltaPackages = std::move(packages);
  return made;
}

/// The lines of the log without their thread: "d: text".
std::vector<std::string> messages(const test::LogCapture& log) {
  std::vector<std::string> lines = log.lines();
  for (std::string& line : lines)
    line.erase(line.find('<'), line.find("> ") + 2 - line.find('<'));
  return lines;
}

/// The plan computed in the plainest way: each order from scratch. What it logs goes to `lines`.
DeltaPlan plainPlan(std::vector<ActiveBuild> missing, const Numbers& installed,
                    std::vector<std::string>& lines) {
  for (ActiveBuild& one : missing) {
    std::stable_sort(one.deltaPackages.begin(), one.deltaPackages.end(),
                     [](const auto& a, const auto& b) { return a.macDownloadSize < b.macDownloadSize; });
  }
  const auto sizeOf = [&](const Numbers& order) {
    Numbers available = installed;
    std::uint32_t total = 0;
    for (const std::uint32_t index : order) {
      std::uint32_t size = missing[index].macDownloadSize;
      for (const DeltaPackage& package : missing[index].deltaPackages) {
        if (package.macDownloadSize - 1u >= 0x7FFFFFFFu) continue;
        if (std::count(available.begin(), available.end(), package.fromBuildNumber) == 0) continue;
        size = package.macDownloadSize;
        break;
      }
      total += size;
      available.push_back(missing[index].buildNumber);
    }
    return static_cast<std::int32_t>(total);
  };

  Numbers order(missing.size());
  std::iota(order.begin(), order.end(), 0u);
  DeltaPlan plan{order, sizeOf(order)};
  const std::int32_t first = plan.totalDownloadSize;
  lines.push_back("d: Expected total download size: " + std::to_string(first));
  bool more = std::next_permutation(order.begin(), order.end());
  int counter = 2;
  while (more && counter - 1 < 5140) {
    if (const std::int32_t size = sizeOf(order); size < plan.totalDownloadSize) plan = {order, size};
    more = std::next_permutation(order.begin(), order.end());
    ++counter;
  }
  if (more) lines.push_back("d: Maximum permutations number reached: " + std::to_string(counter));
  if (plan.totalDownloadSize < first) {
    const auto saved = static_cast<std::int32_t>(static_cast<std::uint32_t>(first) -
                                                 static_cast<std::uint32_t>(plan.totalDownloadSize));
    lines.push_back("i: Found download size improvement of " + std::to_string(saved) + " bytes");
  }
  return plan;
}

/// Random inputs that make ties, duplicates and self references frequent; every other one also has sizes at
/// the limits, and sums that wrap around.
class Scenario {
 public:
  explicit Scenario(unsigned seed) : _random(seed), _smallSizes(seed % 2 == 1) {}

  std::vector<ActiveBuild> missing(std::size_t count) {
    std::vector<ActiveBuild> builds;
    for (std::size_t i = 0; i < count; ++i) {
      std::vector<DeltaPackage> packages;
      for (std::uint32_t left = upTo(9); left > 0; --left)
        packages.push_back(deltaFrom(number(), size()));
      builds.push_back(build(number(), size(), std::move(packages)));
    }
    return builds;
  }
  Numbers installed() {
    Numbers numbers(upTo(4));
    for (std::uint32_t& one : numbers)
      one = number();
    return numbers;
  }
  std::uint32_t upTo(std::uint32_t limit) {
    return std::uniform_int_distribution<std::uint32_t>(0, limit)(_random);
  }

 private:
  std::uint32_t number() { return 100 + upTo(14); }
  std::uint32_t size() {
    if (_smallSizes) return upTo(30);
    constexpr std::uint32_t kSpecial[] = {0, 1, 0x7FFFFFFFu, 0x80000000u, 0x80000001u, 0xFFFFFFFFu};
    const std::uint32_t choice = upTo(19);
    if (choice < 6) return kSpecial[choice];
    return choice < 13 ? 1 + upTo(9) : upTo(0xFFFFFFFFu);
  }

  std::mt19937 _random;
  bool _smallSizes;
};

TEST(DeltaPlanner, AgreesWithTheEvaluationOfEachOrderFromScratch) {
  for (unsigned seed = 0; seed < 3000; ++seed) {
    Scenario scenario(seed);
    // Mostly small inputs, of which all orders are seen; some of up to 40 builds.
    const std::size_t count = seed % 100 < 2 ? 7 + scenario.upTo(33) : 1 + scenario.upTo(5);
    std::vector<ActiveBuild> missing = scenario.missing(count);
    const Numbers installed = scenario.installed();

    std::vector<std::string> expectedLines;
    const DeltaPlan expected = plainPlan(missing, installed, expectedLines);
    test::LogCapture log;
    DeltaPlan plan;
    ASSERT_CODE(planDeltaPath(missing, installed, plan), ZRError::eNoError);

    ASSERT_EQ(plan.order, expected.order) << "seed " << seed << ", " << count << " builds";
    ASSERT_EQ(plan.totalDownloadSize, expected.totalDownloadSize) << "seed " << seed;
    ASSERT_EQ(messages(log), expectedLines) << "seed " << seed;
    Numbers available = installed;
    std::int32_t total = 0;
    ASSERT_CODE(downloadSizeForOrder(missing, available, plan.order, total), ZRError::eNoError);
    ASSERT_EQ(total, plan.totalDownloadSize) << "seed " << seed;
  }
}

TEST(DeltaPlanner, ManyPackagesTakeNoTime) {
  std::vector<DeltaPackage> packages;
  for (std::uint32_t i = 0; i < 200'000; ++i)
    packages.push_back(deltaFrom(i, 200'000 - i));
  std::vector<ActiveBuild> missing = {build(300'000, 1'000'000, std::move(packages)), build(300'001, 5)};
  const auto start = std::chrono::steady_clock::now();
  DeltaPlan plan;
  EXPECT_CODE(planDeltaPath(missing, {199'998}, plan), ZRError::eNoError);
  EXPECT_EQ(plan.totalDownloadSize, 7);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST(DeltaPlanner, RefusesWhatIsNoOrder) {
  const std::vector<ActiveBuild> missing = {build(2, 5), build(3, 6)};
  for (const Numbers& order : {Numbers{0}, Numbers{0, 1, 0}, Numbers{0, 2}}) {
    Numbers available = {1};
    std::int32_t total = -1;
    EXPECT_CODE(downloadSizeForOrder(missing, available, order, total), ZRError::ePreconditionFailed);
    EXPECT_EQ(total, -1);
    EXPECT_EQ(available, Numbers{1});
  }
  std::vector<ActiveBuild> nothing;
  DeltaPlan plan;
  EXPECT_CODE(planDeltaPath(nothing, {1}, plan), ZRError::ePreconditionFailed);
}

}  // namespace
