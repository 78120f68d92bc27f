#include "Code/Common/DeltaPlanner.h"

#include <gtest/gtest.h>

#include <random>
#include <regex>
#include <string>

#include "tests/common/PlainPlan.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ResultMatchers.h"

namespace {

using Numbers = std::vector<std::uint32_t>;

DeltaPackage deltaFrom(std::uint32_t source, std::uint32_t size) {
  return {source, "", 0, "", size};
}

ActiveBuild build(std::uint32_t number, std::uint32_t size, std::vector<DeltaPackage> packages = {}) {
  return {number, "", 0, "", size, std::move(packages)};
}

/// Random inputs that make ties, duplicates and self references frequent; every other one also has sizes at
/// the limits, and sums that wrap around.
class Scenario {
 public:
  explicit Scenario(unsigned seed) : _random(seed), _smallSizes(seed % 2 == 1) {
    // Mostly small inputs, of which all orders are seen; some of up to 40 builds.
    missing.resize(seed % 100 < 2 ? 7 + upTo(33) : 1 + upTo(5));
    for (ActiveBuild& one : missing) {
      one = build(number(), size(), std::vector<DeltaPackage>(upTo(9)));
      for (DeltaPackage& package : one.deltaPackages)
        package = deltaFrom(number(), size());
    }
    installed.resize(upTo(4));
    for (std::uint32_t& one : installed)
      one = number();
  }

  std::vector<ActiveBuild> missing;
  Numbers installed;

 private:
  std::uint32_t upTo(std::uint32_t limit) {
    return std::uniform_int_distribution<std::uint32_t>(0, limit)(_random);
  }
  std::uint32_t number() { return 100 + upTo(14); }
  std::uint32_t size() {
    constexpr std::uint32_t kSizes[] = {0, 1, 2, 9, 0x7FFFFFFEu, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu};
    return _smallSizes ? upTo(30) : kSizes[upTo(7)];
  }

  std::mt19937 _random;
  bool _smallSizes;
};

/// What the planner logs, "level: text" a line.
std::string expectedLog(const test::PlainPlan& plain) {
  const auto saved = static_cast<std::uint32_t>(plain.documentOrderSize) -
                     static_cast<std::uint32_t>(plain.plan.totalDownloadSize);
  std::string log = "d: Expected total download size: " + std::to_string(plain.documentOrderSize) + "\n";
  if (!plain.sawAllOrders) log += "d: Maximum permutations number reached: 5141\n";
  if (plain.plan.totalDownloadSize < plain.documentOrderSize) {
    const std::string bytes = std::to_string(static_cast<std::int32_t>(saved));
    log += "i: Found download size improvement of " + bytes + " bytes\n";
  }
  return log;
}

TEST(DeltaPlanner, AgreesWithTheEvaluationOfEachOrderFromScratch) {
  static const std::regex kThread("<[^>]*> ");
  for (unsigned seed = 0; seed < 3000; ++seed) {
    Scenario given(seed);
    const test::PlainPlan plain = test::plainPlan(given.missing, given.installed);
    const test::LogCapture log;
    DeltaPlan plan;
    ASSERT_CODE(planDeltaPath(given.missing, given.installed, plan), ZRError::eNoError);
    ASSERT_EQ(plan.order, plain.plan.order) << "seed " << seed;
    ASSERT_EQ(plan.totalDownloadSize, plain.plan.totalDownloadSize) << "seed " << seed;
    ASSERT_EQ(std::regex_replace(log.text(), kThread, ""), expectedLog(plain)) << "seed " << seed;
    std::int32_t total = 0;
    ASSERT_CODE(downloadSizeForOrder(given.missing, given.installed, plan.order, total), ZRError::eNoError);
    ASSERT_EQ(total, plan.totalDownloadSize) << "seed " << seed;
  }
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
