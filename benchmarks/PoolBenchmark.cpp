#include <algorithm>
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_future.hpp>
#include <boost/make_shared.hpp>
#include <cstdint>
#include <functional>
#include <future>
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

/// As the callers of the pool do: every task is queued and its event waited for, the last one first, so that
/// the waiting thread is not woken for each.
void runTasks(const Tasks& tasks) {
  ZRDynamicThreadPool pool("Benchmark", kThreads, kThreads, 30);
  for (const auto& task : tasks)
    static_cast<void>(pool.addTask(task));
  for (auto task = tasks.rbegin(); task != tasks.rend(); ++task)
    static_cast<void>((*task)->completionEvent().wait(ZRSync::kNoLimit));
  static_cast<void>(pool.stop());
}

/// The same: each is waited for in the same order, and has a result.
void runFutures(int count, int steps) {
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

/// Less: no task has a result, or an end that can be waited for.
void runPosts(int count, int steps) {
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
void compare(const char* name, const char* against, double goal, const std::function<double()>& ours,
             const std::function<void()>& peer) {
  std::vector<double> ourTimes;
  std::vector<double> peerTimes;
  for (int round = 0; round < kRounds; ++round) {
    ourTimes.push_back(ours());
    peerTimes.push_back(benchmark::secondsFor(peer));
  }
  benchmark::print(name, against, {median(ourTimes), median(peerTimes)}, benchmark::Meaning::speed, goal);
}

/// Against futures, with the making and the end of the tasks, as it is with them.
void compareResults(const char* name, int count, int steps, double goal) {
  const auto ours = [=] { return benchmark::secondsFor([=] { runTasks(makeTasks(count, steps)); }); };
  compare(name, "boost::asio::use_future", goal, ours, [=] { runFutures(count, steps); });
}

/// Against posts, without, so that the pool is measured and not the allocator. The goals say what results and
/// events may cost beyond what posts do.
void compareTasks(const char* name, int count, int steps, double goal) {
  const auto ours = [=] {
    const Tasks tasks = makeTasks(count, steps);
    return benchmark::secondsFor([&] { runTasks(tasks); });
  };
  compare(name, "boost::asio::thread_pool(3)", goal, ours, [=] { runPosts(count, steps); });
}

}  // namespace

int main() {
  const int steps = stepsFor(kBusySeconds);
  compareTasks("pool_empty_tasks", kEmptyTasks, 0, 0.6);
  compareTasks("pool_4us_tasks", kBusyTasks, steps, 0.85);
  compareResults("pool_empty_tasks_with_results", kEmptyTasks, 0, 1.1);
  compareResults("pool_4us_tasks_with_results", kBusyTasks, steps, 1.0);
}
