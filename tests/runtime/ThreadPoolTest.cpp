#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <boost/make_shared.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "runtime/Threads/ZRDynamicThreadPool.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ResultMatchers.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Worker = ZRDynamicPoolWorkerThread;

constexpr std::uint32_t kLongMs = 20'000;
constexpr std::uint32_t kNeverIdleTooLong = 3600;

class FunctionTask final : public ZRTask {
 public:
  using Body = std::function<ZRResult(Worker&)>;
  explicit FunctionTask(Body body, std::int32_t number = 0)
      : ZRTask("Task", number), _body(std::move(body)) {}
  ZRResult run(Worker& worker) override { return _body(worker); }

 private:
  Body _body;
};

using TaskHandle = boost::shared_ptr<FunctionTask>;

TaskHandle add(ZRDynamicThreadPool& pool, FunctionTask::Body body, std::int32_t number = 0) {
  auto task = boost::make_shared<FunctionTask>(std::move(body), number);
  EXPECT_CODE(pool.addTask(task), ZRError::eNoError);
  return task;
}

void waitFor(ZRTask& task) {
  EXPECT_CODE(task.completionEvent().wait(kLongMs), ZRError::eNoError);
}

bool comesTrue(const std::function<bool()>& condition) {
  const auto limit = Clock::now() + std::chrono::milliseconds(kLongMs);
  while (!condition() && Clock::now() < limit)
    std::this_thread::sleep_for(1ms);
  return condition();
}

/// Tasks that stay in their run until they are let go, and tell the slot of the worker that runs them.
class Blocker {
 public:
  TaskHandle occupy(ZRDynamicThreadPool& pool) {
    return add(pool, [this](Worker& worker) {
      {
        const std::lock_guard<std::mutex> guard(_mutex);
        _slots.push_back(worker.slot());
      }
      return _release.wait(kLongMs);
    });
  }
  std::vector<std::size_t> slots() const {
    const std::lock_guard<std::mutex> guard(_mutex);
    return _slots;
  }
  bool run(std::size_t count) const {
    return comesTrue([=, this] { return slots().size() == count; });
  }
  void release() { EXPECT_CODE(_release.set(), ZRError::eNoError); }

 private:
  mutable std::mutex _mutex;
  std::vector<std::size_t> _slots;
  ZREvent _release{"release", ZREvent::Reset::manual};
};

std::string systemName() {
  std::array<char, 32> name{};
  pthread_getname_np(pthread_self(), name.data(), name.size());
  return name.data();
}

TEST(ThreadPool, RunsTasksInTheirOrderAndKeepsTheirResults) {
  ZRDynamicThreadPool pool("Pool", 1, 1, 0);
  std::vector<std::int32_t> order;
  std::vector<TaskHandle> tasks;
  for (std::int32_t i = 0; i < 50; ++i) {
    tasks.push_back(add(pool, [&order, i](Worker&) {
      order.push_back(i);
      return i % 2 == 0 ? ZRResult() : ZRResult(ZRError::eVerifyFailed, "task %d", i);
    }));
  }
  for (const TaskHandle& task : tasks)
    waitFor(*task);
  for (std::int32_t i = 0; i < 50; ++i) {
    const ZRTask& task = *tasks[static_cast<std::size_t>(i)];
    EXPECT_CODE(task.result(), i % 2 == 0 ? ZRError::eNoError : ZRError::eVerifyFailed);
    EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
  }
  EXPECT_STREQ(tasks[7]->result().message().c_str(), "task 7");
  EXPECT_CODE(pool.addTask(nullptr), ZRError::eBadParameter);
  EXPECT_CODE(pool.stop(), ZRError::eNoError);
  for (const TaskHandle& task : tasks)
    EXPECT_EQ(task.use_count(), 1) << "the pool keeps no task that is done";
}

TEST(ThreadPool, ManyTasksOfManyThreadsAllRunOnce) {
  constexpr int kThreads = 4;
  constexpr int kTasks = 500;
  ZRDynamicThreadPool pool("Pool", 1, 3, 0);
  std::atomic<int> runs{0};
  std::vector<std::vector<TaskHandle>> tasks(kThreads);
  std::vector<std::thread> producers;
  for (auto& mine : tasks) {
    producers.emplace_back([&pool, &runs, &mine] {
      for (int i = 0; i < kTasks; ++i)
        mine.push_back(add(pool, [&runs](Worker&) { return ++runs, ZRResult(); }));
    });
  }
  for (std::thread& producer : producers)
    producer.join();
  for (const auto& some : tasks)
    for (const TaskHandle& task : some)
      waitFor(*task);
  EXPECT_EQ(runs, kThreads * kTasks);
}

TEST(ThreadPool, GrowsUnderLoadUpToItsMaximum) {
  struct Case {
    std::size_t minimum;
    std::size_t maximum;
    std::size_t atStart;
    std::size_t tasks;
    std::size_t running;
  };
  constexpr Case kCases[] = {
      {0, 2, 0, 1, 1}, {0, 2, 0, 2, 2}, {0, 2, 0, 4, 2}, {1, 3, 1, 1, 1},
      {1, 3, 1, 3, 3}, {2, 2, 2, 3, 2}, {3, 2, 2, 3, 2},
  };
  for (const Case& row : kCases) {
    SCOPED_TRACE(testing::Message() << row.minimum << " to " << row.maximum << ", " << row.tasks << " tasks");
    Blocker blocker;
    ZRDynamicThreadPool pool("Pool", row.minimum, row.maximum, kNeverIdleTooLong);
    EXPECT_EQ(pool.liveThreads(), row.atStart);
    EXPECT_TRUE(comesTrue([&] { return pool.idleThreads() == row.atStart; }));
    std::vector<TaskHandle> tasks;
    for (std::size_t i = 0; i < row.tasks; ++i)
      tasks.push_back(blocker.occupy(pool));
    EXPECT_EQ(pool.liveThreads(), row.running);
    EXPECT_TRUE(blocker.run(row.running));
    EXPECT_EQ(pool.idleThreads(), 0U);
    blocker.release();
    for (const TaskHandle& task : tasks)
      waitFor(*task);
  }
}

TEST(ThreadPool, AWorkerThatWasIdleTooLongRetiresAndItsSlotIsUsedAgain) {
  ZRDynamicThreadPool pool("Pool", 1, 3, 0);
  Blocker first;
  std::vector<TaskHandle> tasks;
  EXPECT_TRUE(comesTrue([&] { return pool.idleThreads() == 1; }));
  for (int i = 0; i < 3; ++i)
    tasks.push_back(first.occupy(pool));
  EXPECT_TRUE(first.run(3));
  EXPECT_EQ(pool.liveThreads(), 3U);
  first.release();
  EXPECT_TRUE(comesTrue([&] { return pool.liveThreads() == 1; })) << "only the core worker stays";
  EXPECT_TRUE(comesTrue([&] { return pool.idleThreads() == 1; }));

  Blocker second;
  for (int i = 0; i < 3; ++i)
    tasks.push_back(second.occupy(pool));
  EXPECT_TRUE(second.run(3));
  std::vector<std::size_t> slots = second.slots();
  std::sort(slots.begin(), slots.end());
  EXPECT_EQ(slots, (std::vector<std::size_t>{1, 2, 3}));
  second.release();
  for (const TaskHandle& task : tasks)
    waitFor(*task);
}

TEST(ThreadPool, TheNameIsRightBeforeAndAfterATaskThatRenamesItsThread) {
  ZRDynamicThreadPool pool("P", 1, 1, 0);
  std::array<std::string, 3> names;
  Worker* worker = nullptr;
  for (std::string& name : names) {
    const TaskHandle task = add(
        pool,
        [&](Worker& self) {
          worker = &self;
          name = self.name().str() + " " + systemName() + " " + zrrt::currentThreadTag();
          self.setName("renamed");
          return ZRResult();
        },
        -7);
    waitFor(*task);
  }
  for (const std::string& name : names)
    EXPECT_EQ(name, "P(1)(Task)(-7) P(1)(Task)(-7) P(1)(Task)(-7)");
  EXPECT_TRUE(comesTrue([&] { return worker->name() == "P(1)"; })) << worker->name().c_str();
}

TEST(ThreadPool, StopWaitsForWhatRunsAndLeavesTheRest) {
  ZRDynamicThreadPool pool("Pool", 1, 1, 0);
  Blocker blocker;
  const TaskHandle running = blocker.occupy(pool);
  EXPECT_TRUE(blocker.run(1));
  const TaskHandle queued = blocker.occupy(pool);
  std::thread releaser([&] {
    std::this_thread::sleep_for(20ms);
    blocker.release();
  });
  EXPECT_CODE(pool.stop(), ZRError::eNoError);
  EXPECT_TRUE(running->completionEvent().isSet());
  releaser.join();
  EXPECT_FALSE(queued->completionEvent().isSet());
  EXPECT_CODE(queued->result(), ZRError::eNotInitialized);
  const auto late = boost::make_shared<FunctionTask>([](Worker&) { return ZRResult(); });
  EXPECT_CODE(pool.addTask(late), ZRError::eSomeError);
  EXPECT_EQ(late.use_count(), 1);
  EXPECT_FALSE(late->completionEvent().isSet());
  EXPECT_CODE(pool.stop(), ZRError::eNoError);
}

TEST(ThreadPool, NoTaskRunsOnceThePoolIsGone) {
  for (int i = 0; i < 50; ++i) {
    std::atomic<bool> poolExists{true};
    std::atomic<int> late{0};
    std::vector<TaskHandle> tasks;
    {
      ZRDynamicThreadPool pool("Pool", 1, 3, 0);
      for (int j = 0; j < 20; ++j)
        tasks.push_back(add(pool, [&](Worker&) {
          std::this_thread::yield();
          late += poolExists ? 0 : 1;
          return ZRResult();
        }));
    }
    poolExists = false;
    EXPECT_EQ(late, 0);
    for (const TaskHandle& task : tasks)
      EXPECT_EQ(task.use_count(), 1);
  }
}

/// Makes the system refuse new threads of the default kind for a scope.
class NoMoreThreads {
 public:
  NoMoreThreads() {
    pthread_getattr_default_np(&_before);
    pthread_attr_t impossible;
    pthread_attr_init(&impossible);
    pthread_attr_setstacksize(&impossible, std::size_t{1} << 50);
    EXPECT_EQ(pthread_setattr_default_np(&impossible), 0);
    pthread_attr_destroy(&impossible);
  }
  ~NoMoreThreads() {
    pthread_setattr_default_np(&_before);
    pthread_attr_destroy(&_before);
  }
  NoMoreThreads(const NoMoreThreads&) = delete;
  NoMoreThreads& operator=(const NoMoreThreads&) = delete;

 private:
  pthread_attr_t _before;
};

TEST(ThreadPool, GoesOnWithoutTheWorkersThatCannotBeMade) {
  const test::LogCapture log;
  std::unique_ptr<ZRDynamicThreadPool> pool;
  {
    const NoMoreThreads scope;
    pool = std::make_unique<ZRDynamicThreadPool>("Pool", 1, 2, 0);
  }
  EXPECT_TRUE(log.contains("C: ", "Can't start thread")) << log.text();
  EXPECT_EQ(pool->liveThreads(), 0U);
  const TaskHandle task = add(*pool, [](Worker& worker) {
    EXPECT_TRUE(worker.isRetiring());
    return ZRResult();
  });
  waitFor(*task);
}

}  // namespace
