// A run with nothing due: its CPU time against that of a program that loads the network libraries and ends.

#include <algorithm>
#include <cstdio>

#include "benchmarks/AgentSandbox.h"
#include "benchmarks/Measure.h"

int main() {
  constexpr int kRounds = 15;
  constexpr int kRunsInARound = 20;
  constexpr double kPeakGoalMegabytes = 15.0;

  const benchmark::AgentSandbox sandbox;
  sandbox.installBuild(7750);
  sandbox.schedule(100'000);
  static_cast<void>(sandbox.runAgent());  // the first run makes the registry's database

  benchmark::Comparison best;
  long peakKilobytes = 0;
  for (int round = 0; round < kRounds; ++round) {
    double ours = 0;
    double peer = 0;
    for (int run = 0; run < kRunsInARound; ++run) {
      const benchmark::RunCost cost = sandbox.runAgent();
      ours += cost.cpuSeconds;
      peakKilobytes = std::max(peakKilobytes, cost.peakKilobytes);
      peer += benchmark::runProgram({"/usr/bin/curl", "--version"}, sandbox.environment()).cpuSeconds;
    }
    best.ours = std::min(best.ours, ours);
    best.peer = std::min(best.peer, peer);
  }
  benchmark::print("a run with nothing due, CPU", "curl --version", best, benchmark::Meaning::time, 1.0);
  const double megabytes = static_cast<double>(peakKilobytes) / 1024;
  std::printf("%-34s %-30s %.1f MB (goal <= %.0f MB) %s\n", "a run with nothing due, memory", "", megabytes,
              kPeakGoalMegabytes, megabytes <= kPeakGoalMegabytes ? "reached" : "MISSED");
}
