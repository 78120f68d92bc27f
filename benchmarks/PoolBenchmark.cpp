#include <algorithm>
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/make_shared.hpp>
#include <chrono>
#include <cstdint>
#include <vector>

#include "benchmarks/Measure.h"
#include "runtime/Threads/ZRDynamicThreadPool.h"

namespace {

constexpr std::size_t kThreads = 3;
constexpr int kEmptyTasks = 200000;
constexpr int kBusyTasks = 100000;
constexpr std::chrono::nanoseconds kBusyTime{4000};
constexpr int kRounds = 15;

/// Keeps a processor busy for a while; not at all for zero.
void work(std::chrono::nanoseconds duration) {
  if (duration.count() == 0) return;
  const auto end = std::chrono::steady_clock::now() + duration;
  while (std::chrono::steady_clock::now() < end) {
  }
}

class Task final : public ZRTask {
 public:
  explicit Task(std::chrono::nanoseconds duration) : ZRTask("Benchmark"), _duration(duration) {}
  ZRResult run(ZRDynamicPoolWorkerThread&) override {
    work(_duration);
    return ZRError::eNoError;
  }

 private:
  std::chrono::nanoseconds _duration;
};

using Tasks = std::vector<boost::shared_ptr<Task>>;

Tasks makeTasks(int count, std::chrono::nanoseconds duration) {
  Tasks tasks;
  for (int i = 0; i < count; ++i)
    tasks.push_back(boost::make_shared<Task>(duration));
  return tasks;
}

/// As the callers of the pool do: every task is queued and its event waited for.
void runOurs(const Tasks& tasks) {
  ZRDynamicThreadPool pool("Benchmark", kThreads, kThreads, 30);
  for (const auto& task : tasks)
    static_cast<void>(pool.addTask(task));
  for (const auto& task : tasks)
    static_cast<void>(task->completionEvent().wait(ZRSync::kNoLimit));
  static_cast<void>(pool.stop());
}

void runPeer(int count, std::chrono::nanoseconds duration) {
  boost::asio::thread_pool pool(kThreads);
  for (int i = 0; i < count; ++i)
    boost::asio::post(pool, [duration] { work(duration); });
  pool.join();
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

/// Median rounds are compared: how threads happen to be scheduled makes single rounds differ by a multiple.
void measure(const char* name, int count, std::chrono::nanoseconds duration, double goal) {
  std::vector<double> ours;
  std::vector<double> peer;
  for (int round = 0; round < kRounds; ++round) {
    const Tasks tasks = makeTasks(count, duration);  // the pool is measured, not the allocator
    ours.push_back(benchmark::secondsFor([&] { runOurs(tasks); }));
    peer.push_back(benchmark::secondsFor([=] { runPeer(count, duration); }));
  }
  benchmark::print(name, "boost::asio::thread_pool(3)", {median(ours), median(peer)},
                   benchmark::Meaning::speed, goal);
}

}  // namespace

int main() {
  measure("pool_empty_tasks", kEmptyTasks, std::chrono::nanoseconds(0), 1.4);
  measure("pool_4us_tasks", kBusyTasks, kBusyTime, 0.98);
}
