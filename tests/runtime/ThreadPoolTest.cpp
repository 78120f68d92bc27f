#include <gtest/gtest.h>
#include <pthread.h>

#include <array>
#include <atomic>
#include <boost/make_shared.hpp>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "runtime/Threads/ZRDynamicThreadPool.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ResultMatchers.h"

namespace {

using namespace std::chrono_literals;
using Worker = ZRDynamicPoolWorkerThread;

constexpr std::uint32_t kLongMs = 20'000;

class FunctionTask final : public ZRTask {
 public:
  using Body = std::function<ZRResult(Worker&)>;
  explicit FunctionTask(Body body) : ZRTask("Task", -7), _body(std::move(body)) {}
  ZRResult run(Worker& worker) override { return _body(worker); }

 private:
  Body _body;
};

using TaskHandle = boost::shared_ptr<FunctionTask>;

TaskHandle add(ZRDynamicThreadPool& pool, FunctionTask::Body body) {
  auto task = boost::make_shared<FunctionTask>(std::move(body));
  EXPECT_CODE(pool.addTask(task), ZRError::eNoError);
  return task;
}

void waitFor(const std::vector<TaskHandle>& tasks) {
  for (const TaskHandle& task : tasks)
    EXPECT_CODE(task->completionEvent().wait(kLongMs), ZRError::eNoError);
}

bool comesTrue(const std::function<bool()>& condition) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(kLongMs);
  while (!condition() && std::chrono::steady_clock::now() < limit)
    std::this_thread::sleep_for(1ms);
  return condition();
}

/// Tasks that stay in their run until they are let go, or to the end of its scope.
class Blocker {
 public:
  ~Blocker() { release(); }
  void occupy(ZRDynamicThreadPool& pool, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      tasks.push_back(add(pool, [this](Worker&) {
        ++running;
        return _release.wait(kLongMs);
      }));
    }
  }
  bool run(std::size_t count) const {
    return comesTrue([=, this] { return running == count; });
  }
  void release() {
    EXPECT_CODE(_release.set(), ZRError::eNoError);
    waitFor(tasks);
  }

  std::vector<TaskHandle> tasks;
  std::atomic<std::size_t> running{0};

 private:
  ZREvent _release{"release", ZREvent::Reset::manual};
};

TEST(ThreadPool, RunsTasksInTheirOrderAndKeepsTheirResults) {
  ZRDynamicThreadPool pool("Pool", 1, 1, 0);
  std::vector<int> order;
  std::vector<TaskHandle> tasks;
  for (int i = 0; i < 50; ++i) {
    tasks.push_back(add(pool, [&order, i](Worker&) {
      order.push_back(i);
      return ZRResult(ZRError::eVerifyFailed, "task %d", i);
    }));
  }
  waitFor(tasks);
  EXPECT_CODE(pool.stop(), ZRError::eNoError);
  for (int i = 0; i < 50; ++i) {
    const TaskHandle& task = tasks[static_cast<std::size_t>(i)];
    EXPECT_EQ(task->result().message().str(), "task " + std::to_string(i));
    EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
    EXPECT_EQ(task.use_count(), 1) << "the pool keeps no task that is done";
  }
}

TEST(ThreadPool, ManyTasksOfManyThreadsAllRunOnce) {
  ZRDynamicThreadPool pool("Pool", 1, 3, 0);
  std::atomic<int> runs{0};
  std::array<std::thread, 4> producers;
  for (std::thread& producer : producers) {
    producer = std::thread([&] {
      std::vector<TaskHandle> tasks;
      for (int i = 0; i < 500; ++i)
        tasks.push_back(add(pool, [&](Worker&) { return ++runs, ZRResult(); }));
      waitFor(tasks);
    });
  }
  for (std::thread& producer : producers)
    producer.join();
  EXPECT_EQ(runs, 4 * 500);
}

TEST(ThreadPool, GrowsUnderLoadUpToItsMaximum) {
  const struct {
    std::size_t minimum;
    std::size_t maximum;
    std::size_t tasks;
    std::size_t running;
  } rows[] = {{0, 2, 1, 1}, {0, 2, 4, 2}, {1, 3, 1, 1}, {1, 3, 3, 3}, {2, 2, 3, 2}, {3, 2, 3, 2}};
  for (const auto& row : rows) {
    ZRDynamicThreadPool pool("Pool", row.minimum, row.maximum, 3600);
    const std::size_t atStart = pool.liveThreads();
    EXPECT_EQ(atStart, std::min(row.minimum, row.maximum));
    EXPECT_TRUE(comesTrue([&] { return pool.idleThreads() == atStart; }));
    Blocker blocker;
    blocker.occupy(pool, row.tasks);
    EXPECT_EQ(pool.liveThreads(), row.running);
    EXPECT_TRUE(blocker.run(row.running));
  }
}

TEST(ThreadPool, AWorkerThatWasIdleTooLongRetiresAndItsSlotIsUsedAgain) {
  ZRDynamicThreadPool pool("Pool", 1, 3, 0);
  for (int round = 0; round < 2; ++round) {
    EXPECT_TRUE(comesTrue([&] { return pool.liveThreads() == 1 && pool.idleThreads() == 1; })) << round;
    Blocker blocker;
    blocker.occupy(pool, 3);
    EXPECT_TRUE(blocker.run(3));
  }
}

TEST(ThreadPool, TheNameIsRightAfterATaskThatRenamesItsThread) {
  ZRDynamicThreadPool pool("P", 1, 1, 0);
  for (int i = 0; i < 2; ++i) {
    waitFor({add(pool, [](Worker& self) {
      EXPECT_EQ(self.name(), "P(1)(Task)(-7)");
      EXPECT_STREQ(zrrt::currentThreadTag(), "P(1)(Task)(-7)");
      self.setName("renamed");
      return ZRResult();
    })});
  }
}

TEST(ThreadPool, StopWaitsForWhatRunsAndLeavesTheRest) {
  ZRDynamicThreadPool pool("Pool", 1, 1, 0);
  Blocker blocker;
  blocker.occupy(pool, 1);
  EXPECT_TRUE(blocker.run(1));
  const TaskHandle queued = add(pool, [](Worker&) { return ZRResult(); });
  std::thread releaser([&] {
    std::this_thread::sleep_for(20ms);
    blocker.release();
  });
  EXPECT_CODE(pool.stop(), ZRError::eNoError);
  EXPECT_TRUE(blocker.tasks[0]->completionEvent().isSet());
  releaser.join();
  const auto late = boost::make_shared<FunctionTask>([](Worker&) { return ZRResult(); });
  EXPECT_CODE(pool.addTask(late), ZRError::eSomeError);
  EXPECT_CODE(pool.stop(), ZRError::eNoError);
  for (const TaskHandle& task : {queued, late})
    EXPECT_FALSE(task->completionEvent().isSet());
}

TEST(ThreadPool, NoTaskRunsOnceThePoolIsGone) {
  for (int i = 0; i < 50; ++i) {
    std::atomic<bool> poolExists{true};
    std::vector<TaskHandle> tasks;
    {
      ZRDynamicThreadPool pool("Pool", 1, 3, 0);
      for (int j = 0; j < 20; ++j)
        tasks.push_back(add(pool, [&](Worker&) {
          std::this_thread::yield();
          EXPECT_TRUE(poolExists);
          return ZRResult();
        }));
    }
    poolExists = false;
    for (const TaskHandle& task : tasks)
      EXPECT_EQ(task.use_count(), 1);
  }
}

TEST(ThreadPool, GoesOnWithoutTheWorkersThatCannotBeMade) {
  const test::LogCapture log;
  pthread_attr_t usual;
  pthread_getattr_default_np(&usual);
  pthread_attr_t impossible;
  pthread_attr_init(&impossible);
  pthread_attr_setstacksize(&impossible, std::size_t{1} << 50);
  ASSERT_EQ(pthread_setattr_default_np(&impossible), 0);
  ZRDynamicThreadPool pool("Pool", 1, 2, 0);
  pthread_setattr_default_np(&usual);
  EXPECT_LOGGED(log, "C: ", "Can't start thread");
  EXPECT_EQ(pool.liveThreads(), 0U);
  waitFor({add(pool, [](Worker&) { return ZRResult(); })});
}

}  // namespace
