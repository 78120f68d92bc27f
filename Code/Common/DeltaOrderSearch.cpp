#include "Code/Common/DeltaOrderSearch.h"

#include <algorithm>
#include <limits>

namespace {

constexpr std::uint32_t kNever = std::numeric_limits<std::uint32_t>::max();

constexpr std::array<std::uint32_t, 9> kFactorials = {1, 1, 2, 6, 24, 120, 720, 5040, 40320};

std::uint32_t lowestOf(std::uint32_t set) {
  return static_cast<std::uint32_t>(__builtin_ctz(set));
}

using Supplies = std::vector<BuildSupply>;

/// Puts the entries of one number together: the earliest certain place, all builds without one.
void mergeByNumber(Supplies& supplies) {
  if (supplies.empty()) return;
  std::sort(supplies.begin(), supplies.end(),
            [](const BuildSupply& a, const BuildSupply& b) { return a.number < b.number; });
  auto last = supplies.begin();
  for (auto next = last + 1; next != supplies.end(); ++next) {
    if (next->number == last->number) {
      last->since = std::min(last->since, next->since);
      last->movers |= next->movers;
    } else {
      *++last = *next;
    }
  }
  supplies.erase(last + 1, supplies.end());
}

/// Null for a number that never becomes available.
const BuildSupply* findSupply(const Supplies& supplies, std::uint32_t number) {
  const auto found = std::lower_bound(
      supplies.begin(), supplies.end(), number,
      [](const BuildSupply& supply, std::uint32_t wanted) { return supply.number < wanted; });
  return found != supplies.end() && found->number == number ? &*found : nullptr;
}

std::uint32_t sizeAtPlace(const ActiveBuild& build, std::size_t place, const Supplies& supplies) {
  for (const DeltaPackage& package : build.deltaPackages) {
    if (!hasUsableSize(package)) continue;
    const BuildSupply* supply = findSupply(supplies, package.fromBuildNumber);
    if (supply != nullptr && supply->since <= place) return package.macDownloadSize;
  }
  return build.macDownloadSize;
}

}  // namespace

/// The packages that may come to be used, by size: each has a source that no smaller one has.
struct DeltaOrderSearch::Choices {
  struct Choice {
    std::uint8_t sources;
    std::uint32_t size;
  };
  std::array<Choice, kMaxMoving> list{};
  std::size_t count = 0;
  std::uint32_t otherwise = 0;  ///< the size when no source is there

  [[nodiscard]] std::uint32_t sizeAfter(std::uint32_t installed) const {
    for (std::size_t i = 0; i < count; ++i) {
      if ((list[i].sources & installed) != 0) return list[i].size;
    }
    return otherwise;
  }
};

DeltaOrderSearch::DeltaOrderSearch(const std::vector<ActiveBuild>& builds,
                                   const std::vector<std::uint32_t>& available)
    : _fixed(builds.size() - std::min(builds.size(), kMaxMoving)), _moving(builds.size() - _fixed) {
  const Supplies sources = supplies(builds, available);
  for (std::size_t place = 0; place < _fixed; ++place)
    _fixedSize += sizeAtPlace(builds[place], place, sources);
  for (std::size_t mover = 0; mover < _moving; ++mover)
    fillSizes(mover, choicesOf(builds[_fixed + mover], sources));
}

std::vector<BuildSupply> DeltaOrderSearch::supplies(const std::vector<ActiveBuild>& builds,
                                                    const std::vector<std::uint32_t>& available) const {
  Supplies all;
  all.reserve(available.size() + builds.size());
  for (const std::uint32_t number : available)
    all.push_back({number, 0, 0});
  for (std::size_t i = 0; i < builds.size(); ++i) {
    const bool moves = i >= _fixed;
    all.push_back({builds[i].buildNumber, moves ? kNever : static_cast<std::uint32_t>(i + 1),
                   static_cast<std::uint8_t>(moves ? 1u << (i - _fixed) : 0u)});
  }
  mergeByNumber(all);
  return all;
}

DeltaOrderSearch::Choices DeltaOrderSearch::choicesOf(const ActiveBuild& build, const Supplies& supplies) {
  Choices choices;
  choices.otherwise = build.macDownloadSize;
  std::uint8_t seen = 0;
  for (const DeltaPackage& package : build.deltaPackages) {
    if (!hasUsableSize(package)) continue;
    const BuildSupply* supply = findSupply(supplies, package.fromBuildNumber);
    if (supply == nullptr || (supply->movers & seen) != 0) continue;
    if (supply->since != kNever) {  // there whatever the order: no larger package is ever used
      choices.otherwise = package.macDownloadSize;
      break;
    }
    seen |= supply->movers;
    choices.list[choices.count++] = {supply->movers, package.macDownloadSize};
  }
  return choices;
}

void DeltaOrderSearch::fillSizes(std::size_t mover, const Choices& choices) {
  for (std::uint32_t before = 0; before < 1u << _moving; ++before)
    _sizes[mover][before] = choices.sizeAfter(before);
}

std::int32_t DeltaOrderSearch::documentOrderSize() const {
  std::uint32_t sum = _fixedSize;
  for (std::size_t mover = 0; mover < _moving; ++mover)
    sum += _sizes[mover][(1u << mover) - 1];
  return static_cast<std::int32_t>(sum);
}

/// From the last build backwards: the rest of an order costs the same whatever the order of what precedes it.
void DeltaOrderSearch::fillRests() {
  const std::uint32_t all = (1u << _moving) - 1;
  _restSizes[all] = 0;
  for (std::uint32_t placed = all; placed-- > 0;) {
    std::uint32_t least = 0;
    std::uint32_t left = all & ~placed;
    for (bool first = true; left != 0; left &= left - 1, first = false) {
      const std::uint32_t mover = lowestOf(left);
      const std::uint32_t size = _sizes[mover][placed] + _restSizes[placed | 1u << mover];
      if (!first && size >= least) continue;
      least = size;
      _restFirst[placed] = static_cast<std::uint8_t>(mover);
    }
    _restSizes[placed] = least;
  }
}

bool DeltaOrderSearch::sumsMayWrap() const {
  std::int64_t most = static_cast<std::int32_t>(_fixedSize);
  for (std::size_t mover = 0; mover < _moving; ++mover) {
    const auto begin = _sizes[mover].begin();
    most += *std::max_element(begin, begin + (1 << _moving));
  }
  return most > std::numeric_limits<std::int32_t>::max();
}

DeltaOrderSearch::Outcome DeltaOrderSearch::run(std::uint32_t maxOrders) {
  fillRests();
  _mayWrap = sumsMayWrap();
  _ordersLeft = maxOrders;
  return visit(0, 0, _fixedSize) ? Outcome::allSeen : Outcome::budgetExhausted;
}

/// Tries what is not placed yet at this depth, smallest index first; false when the budget does not reach.
/// Where all the orders that begin like this are within it, their cheapest rest is known, and comparing rests
/// is comparing whole orders as long as no sum wraps around.
bool DeltaOrderSearch::visit(std::uint32_t placed, std::size_t depth, std::uint32_t sum) {
  if (_ordersLeft == 0) return false;
  const std::uint32_t orders = kFactorials[_moving - depth];
  if (orders == 1 || (orders <= _ordersLeft && !_mayWrap)) {
    _ordersLeft -= orders;
    consider(placed, depth, sum + _restSizes[placed]);
    return true;
  }
  for (std::uint32_t left = ((1u << _moving) - 1) & ~placed; left != 0; left &= left - 1) {
    const std::uint32_t mover = lowestOf(left);
    _order[depth] = static_cast<std::uint8_t>(mover);
    if (!visit(placed | 1u << mover, depth + 1, sum + _sizes[mover][placed])) return false;
  }
  return true;
}

/// The cheapest of the orders that begin with what is placed.
void DeltaOrderSearch::consider(std::uint32_t placed, std::size_t depth, std::uint32_t sum) {
  const auto size = static_cast<std::int32_t>(sum);
  if (_seenAny && size >= _bestSize) return;
  _seenAny = true;
  _bestSize = size;
  _bestOrder = _order;
  for (; depth < _moving; ++depth) {
    _bestOrder[depth] = _restFirst[placed];
    placed |= 1u << _restFirst[placed];
  }
}

std::vector<std::uint32_t> DeltaOrderSearch::bestOrder() const {
  std::vector<std::uint32_t> order(_fixed + _moving);
  for (std::size_t i = 0; i < _fixed; ++i)
    order[i] = static_cast<std::uint32_t>(i);
  for (std::size_t i = 0; i < _moving; ++i)
    order[_fixed + i] = static_cast<std::uint32_t>(_fixed + _bestOrder[i]);
  return order;
}
