#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>

/// What the benchmarks share: ours and a peer, measured in turns in one run, compared by their best rounds.
namespace benchmark {

inline double secondsFor(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

struct Comparison {
  double ours = 1e99;  ///< seconds, best round
  double peer = 1e99;
};

inline Comparison compare(int rounds, const std::function<void()>& ours, const std::function<void()>& peer) {
  Comparison best;
  for (int round = 0; round < rounds; ++round) {
    best.ours = std::min(best.ours, secondsFor(ours));
    best.peer = std::min(best.peer, secondsFor(peer));
  }
  return best;
}

/// How a ratio is meant: our speed over the peer's (more is better), or our time over the peer's (less is
/// better).
enum class Meaning { speed, time };

/// Prints one line of the table; the goal is the least speed or the most time.
inline void print(const char* name, const char* against, const Comparison& best, Meaning meaning,
                  double goal) {
  const double ratio = meaning == Meaning::speed ? best.peer / best.ours : best.ours / best.peer;
  const bool reached = meaning == Meaning::speed ? ratio >= goal : ratio <= goal;
  std::printf("%-34s %-30s ratio=%.2f of its %s (goal %s %.2f) %s\n", name, against, ratio,
              meaning == Meaning::speed ? "speed" : "time", meaning == Meaning::speed ? ">=" : "<=", goal,
              reached ? "reached" : "MISSED");
  std::fflush(stdout);
}

}  // namespace benchmark
