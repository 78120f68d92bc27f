#include "Code/Common/DeltaPlanner.h"

#include <algorithm>
#include <utility>

#include "Code/Common/DeltaOrderSearch.h"
#include "runtime/Code/ZRLog.h"

namespace {

constexpr std::uint32_t kMaxOrders = 5140;

ZRResult preconditionFailed(const ZRLocation& location) {
  ZRResult result(ZRError::ePreconditionFailed);
  zrReport(ZRLogLevel::eNone, result, "Error returned", location);
  return result;
}

bool contains(const std::vector<std::uint32_t>& numbers, std::uint32_t number) {
  return std::find(numbers.begin(), numbers.end(), number) != numbers.end();
}

bool hasOneValidIndexForEach(const std::vector<ActiveBuild>& missing,
                             const std::vector<std::uint32_t>& order) {
  return order.size() == missing.size() &&
         std::all_of(order.begin(), order.end(), [&](std::uint32_t index) { return index < missing.size(); });
}

}  // namespace

void sortDeltaPackages(ActiveBuild& build) {
  auto& packages = build.deltaPackages;
  const auto bySize = [](const DeltaPackage& a, const DeltaPackage& b) {
    return a.macDownloadSize < b.macDownloadSize;
  };
  if (std::is_sorted(packages.begin(), packages.end(), bySize)) return;

  // Small keys are sorted instead of the packages: a package is moved once, and equal sizes keep their order.
  std::vector<std::uint64_t> keys(packages.size());
  for (std::size_t i = 0; i < packages.size(); ++i)
    keys[i] = std::uint64_t{packages[i].macDownloadSize} << 32 | i;
  std::sort(keys.begin(), keys.end());

  std::vector<DeltaPackage> sorted;
  sorted.reserve(packages.size());
  for (const std::uint64_t key : keys)
    sorted.push_back(std::move(packages[static_cast<std::uint32_t>(key)]));
  packages = std::move(sorted);
}

ZRResult downloadSizeForBuild(const ActiveBuild& build, const std::vector<std::uint32_t>& available,
                              std::uint32_t& size) {
  const auto usable =
      std::find_if(build.deltaPackages.begin(), build.deltaPackages.end(), [&](const DeltaPackage& package) {
        return hasUsableSize(package) && contains(available, package.fromBuildNumber);
      });
  size = usable == build.deltaPackages.end() ? build.macDownloadSize : usable->macDownloadSize;
  return ZRError::eNoError;
}

ZRResult downloadSizeForOrder(const std::vector<ActiveBuild>& missing, std::vector<std::uint32_t>& available,
                              const std::vector<std::uint32_t>& order, std::int32_t& total) {
  if (!hasOneValidIndexForEach(missing, order)) return preconditionFailed(ZR_HERE);

  std::uint32_t sum = 0;  // unsigned: wraps around as the sizes' sum does
  for (const std::uint32_t index : order) {
    std::uint32_t size = 0;
    ZR_RETURN_FAILURE(downloadSizeForBuild(missing[index], available, size));
    sum += size;
    available.push_back(missing[index].buildNumber);
  }
  total = static_cast<std::int32_t>(sum);
  return ZRError::eNoError;
}

ZRResult planDeltaPath(std::vector<ActiveBuild>& missing, const std::vector<std::uint32_t>& available,
                       DeltaPlan& plan) {
  if (missing.empty()) return preconditionFailed(ZR_HERE);
  for (ActiveBuild& build : missing)
    sortDeltaPackages(build);

  DeltaOrderSearch search(missing, available);
  const std::int32_t documentOrderSize = search.documentOrderSize();
  zrrt::log(ZRLogLevel::eDebug, "Expected total download size: %d", documentOrderSize);

  if (search.run(kMaxOrders) == DeltaOrderSearch::Outcome::budgetExhausted) {
    zrrt::log(ZRLogLevel::eDebug, "Maximum permutations number reached: %d",
              static_cast<std::int32_t>(kMaxOrders + 1));
  }
  plan.order = search.bestOrder();
  plan.totalDownloadSize = search.bestSize();
  if (plan.totalDownloadSize < documentOrderSize) {
    const auto saved =
        static_cast<std::uint32_t>(documentOrderSize) - static_cast<std::uint32_t>(plan.totalDownloadSize);
    zrrt::log(ZRLogLevel::eInformation, "Found download size improvement of %d bytes",
              static_cast<std::int32_t>(saved));
  }
  return ZRError::eNoError;
}
