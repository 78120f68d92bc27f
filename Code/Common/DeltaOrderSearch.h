#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "Code/Common/UpdateInfo.h"

/// Whether a delta package counts: its size, read as a signed number, is 1 or more.
[[nodiscard]] inline bool hasUsableSize(const DeltaPackage& package) {
  return static_cast<std::int32_t>(package.macDownloadSize) >= 1;
}

/// Where a build number can come from while an order is installed.
struct BuildSupply {
  std::uint32_t number;
  std::uint32_t since;  ///< the first place of the order at which it is certainly there; 0: installed
  std::uint8_t movers;  ///< the builds without a certain place that have this number, as a set of bits
};

/// Evaluates orders of installation in lexicographic sequence, up to a budget.
///
/// Eight builds have more orders than any budget that is asked for, so the orders within it differ in their
/// last eight places only, and the builds before those are costed once. What one of the last eight costs
/// depends on which of the others precede it, a set of at most eight, so all its costs fit a small table.
/// From that follows the cheapest rest behind every beginning: beginnings whose orders are all within the
/// budget need not be tried one by one. Only where a sum could wrap around, and so compare as smaller, each
/// order is summed.
class DeltaOrderSearch {
 public:
  enum class Outcome { allSeen, budgetExhausted };

  /// The builds' delta packages are sorted by size. At least one build.
  DeltaOrderSearch(const std::vector<ActiveBuild>& builds, const std::vector<std::uint32_t>& available);

  /// Bytes that the order 0 ... n-1 downloads; sums wrap around in 32 bits.
  [[nodiscard]] std::int32_t documentOrderSize() const;

  /// Considers the first `maxOrders` orders (1 to 40320), the document's first. Run it once.
  Outcome run(std::uint32_t maxOrders);

  /// The cheapest order that `run` has seen, the first of equally cheap ones.
  [[nodiscard]] std::vector<std::uint32_t> bestOrder() const;
  [[nodiscard]] std::int32_t bestSize() const { return _bestSize; }

 private:
  static constexpr std::size_t kMaxMoving = 8;
  static constexpr std::size_t kMaxSets = std::size_t{1} << kMaxMoving;

  struct Choices;

  [[nodiscard]] std::vector<BuildSupply> supplies(const std::vector<ActiveBuild>& builds,
                                                  const std::vector<std::uint32_t>& available) const;
  [[nodiscard]] static Choices choicesOf(const ActiveBuild& build, const std::vector<BuildSupply>& supplies);
  void fillSizes(std::size_t mover, const Choices& choices);
  void fillRests();
  [[nodiscard]] bool sumsMayWrap() const;
  bool visit(std::uint32_t placed, std::size_t depth, std::uint32_t sum);
  void consider(std::uint32_t placed, std::size_t depth, std::uint32_t sum);

  std::size_t _fixed;            ///< builds that stay in front
  std::size_t _moving;           ///< builds whose orders are tried
  std::uint32_t _fixedSize = 0;  ///< bytes of the builds in front
  std::uint32_t _ordersLeft = 0;
  bool _seenAny = false;
  std::int32_t _bestSize = 0;
  std::array<std::uint8_t, kMaxMoving> _order{};
  std::array<std::uint8_t, kMaxMoving> _bestOrder{};
  bool _mayWrap = false;
  /// Bytes of a moving build by the set of moving builds installed before it.
  std::array<std::array<std::uint32_t, kMaxSets>, kMaxMoving> _sizes;
  /// The least bytes of the builds outside a set that is installed before them, and the first of them then.
  std::array<std::uint32_t, kMaxSets> _restSizes;
  std::array<std::uint8_t, kMaxSets> _restFirst{};
};
