#include <algorithm>
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/make_shared.hpp>
#include <cstdint>
#include <vector>

#include "benchmarks/Measure.h"
#include "runtime/Threads/ZRDynamicThreadPool.h"

namespace {

constexpr std::size_t kThreads = 3;
constexpr int kEmptyTasks = 200000;
constexpr int kBusyTasks = 100000;
constexpr double kBusySeconds = 4e-6;
constexpr int kRounds = 15;

/// Keeps a processor busy for that many steps. Never copied into its callers: the same loop takes another
/// time at another place.
[[gnu::noinline]] void work(int steps) {
  volatile int step = 0;
  while (step < steps)
    step = step + 1;
}

/// How many steps take that long on this machine when nothing interrupts them.
int stepsFor(double seconds) {
  constexpr int kSample = 100000;
  double best = 1e99;
  for (int i = 0; i < 50; ++i)
    best = std::min(best, benchmark::secondsFor([] { work(kSample); }));
  return static_cast<int>(kSample * seconds / best);
}

class Task final : public ZRTask {
 public:
  explicit Task(int steps) : ZRTask("Benchmark"), _steps(steps) {}
  ZRResult run(ZRDynamicPoolWorkerThread&) override {
    work(_steps);
    return ZRError::eNoError;
  }

 private:
  int _steps;
};

using Tasks = std::vector<boost::shared_ptr<Task>>;

Tasks makeTasks(int count, int steps) {
  Tasks tasks;
  for (int i = 0; i < count; ++i)
    tasks.push_back(boost::make_shared<Task>(steps));
  return tasks;
}

/// As the callers of the pool do: every task is queued and its event waited for. The last one first, so that
/// the peer, whose end is waited for once, is not compared with the wake-ups of the waiting thread.
void runOurs(const Tasks& tasks) {
  ZRDynamicThreadPool pool("Benchmark", kThreads, kThreads, 30);
  for (const auto& task : tasks)
    static_cast<void>(pool.addTask(task));
  for (auto task = tasks.rbegin(); task != tasks.rend(); ++task)
    static_cast<void>((*task)->completionEvent().wait(ZRSync::kNoLimit));
  static_cast<void>(pool.stop());
}

void runPeer(int count, int steps) {
  boost::asio::thread_pool pool(kThreads);
  for (int i = 0; i < count; ++i)
    boost::asio::post(pool, [steps] { work(steps); });
  pool.join();
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

/// Median rounds are compared: how threads happen to be scheduled makes single rounds differ by a multiple.
void measure(const char* name, int count, int steps, double goal) {
  std::vector<double> ours;
  std::vector<double> peer;
  for (int round = 0; round < kRounds; ++round) {
    const Tasks tasks = makeTasks(count, steps);  // the pool is measured, not the allocator
    ours.push_back(benchmark::secondsFor([&] { runOurs(tasks); }));
    peer.push_back(benchmark::secondsFor([=] { runPeer(count, steps); }));
  }
  benchmark::print(name, "boost::asio::thread_pool(3)", {median(ours), median(peer)},
                   benchmark::Meaning::speed, goal);
}

}  // namespace

int main() {
  measure("pool_empty_tasks", kEmptyTasks, 0, 1.4);
  measure("pool_4us_tasks", kBusyTasks, stepsFor(kBusySeconds), 0.98);
}
