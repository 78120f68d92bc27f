#include <algorithm>
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_future.hpp>
#include <boost/make_shared.hpp>
#include <cstdint>
#include <future>
#include <string>
#include <vector>

#include "benchmarks/Measure.h"
#include "runtime/Threads/ZRDynamicThreadPool.h"

namespace {

constexpr std::size_t kThreads = 3;
constexpr int kEmptyTasks = 200000;
constexpr int kBusyTasks = 100000;
constexpr double kBusySeconds = 4e-6;
constexpr int kRounds = 15;

/// Keeps a processor busy for that many steps, each of which waits for the one before: where the loop lies in
/// memory, and what the stack holds, changes nothing.
[[gnu::noinline]] void work(int steps) {
  std::uint64_t number = 1;
  for (int step = 0; step < steps; ++step)
    number = number * 6364136223846793005U + 1442695040888963407U;
  asm volatile("" : : "r"(number));
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

/// The same: the end of each task can be waited for, and its result read.
void runPeer(int count, int steps) {
  boost::asio::thread_pool pool(kThreads);
  std::vector<std::future<ZRResult>> results;
  results.reserve(static_cast<std::size_t>(count));
  const auto task = [steps] {
    work(steps);
    return ZRResult(ZRError::eNoError);
  };
  for (int i = 0; i < count; ++i)
    results.push_back(boost::asio::post(pool, boost::asio::use_future(task)));
  for (auto result = results.rbegin(); result != results.rend(); ++result)
    result->wait();
  pool.join();
}

/// Less: nobody can wait for a task, and it has no result.
void runBarePeer(int count, int steps) {
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
void measure(const std::string& name, int count, int steps, double goal, double bareGoal) {
  std::vector<double> ours;
  std::vector<double> peer;
  std::vector<double> barePeer;
  for (int round = 0; round < kRounds; ++round) {
    const Tasks tasks = makeTasks(count, steps);  // the pool is measured, not the allocator
    ours.push_back(benchmark::secondsFor([&] { runOurs(tasks); }));
    peer.push_back(benchmark::secondsFor([=] { runPeer(count, steps); }));
    barePeer.push_back(benchmark::secondsFor([=] { runBarePeer(count, steps); }));
  }
  const auto print = [&](const std::string& row, const char* peerName, const std::vector<double>& times,
                         double rowGoal) {
    benchmark::print(row.c_str(), peerName, {median(ours), median(times)}, benchmark::Meaning::speed,
                     rowGoal);
  };
  print(name, "boost::asio::thread_pool, futures", peer, goal);
  print(name + "_unwaited", "boost::asio::thread_pool, bare", barePeer, bareGoal);
}

}  // namespace

int main() {
  measure("pool_empty_tasks", kEmptyTasks, 0, 1.4, 0.8);
  measure("pool_4us_tasks", kBusyTasks, stepsFor(kBusySeconds), 1.0, 0.88);
}
