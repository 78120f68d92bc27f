#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <boost/make_shared.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>

#include "runtime/Code/ZRLog.h"
#include "runtime/Threads/ZRThread.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ResultMatchers.h"

/// Read by the address sanitizer, if it is there. A cancelled thread does not take the marks of its functions
/// off its stack, which the sanitizer would stumble over at the thread's end; so they are to lie elsewhere.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
  return "detect_stack_use_after_return=1";
}

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kLongMs = 20'000;

/// Runs a function as its body.
class TestThread final : public ZRThread {
 public:
  using Body = std::function<ZRResult(TestThread&)>;
  explicit TestThread(Body body) : ZRThread("test"), _body(std::move(body)) {}

  std::atomic<bool> hasExited{false};
  ZREvent& stopEvent() { return _evStopThread; }

 protected:
  ZRResult run() override { return _body(*this); }
  void onExit() override { hasExited = true; }

 private:
  Body _body;
};

/// Ignores every request, in a system call.
ZRResult forever(TestThread&) {
  for (;;)
    ::pause();
}

TEST(Thread, RunsItsBodyOnceStartedAndKeepsTheResult) {
  TestThread thread([](TestThread& self) -> ZRResult {
    EXPECT_EQ(ZRThread::current(), &self);
    EXPECT_CODE(self.join(0, false), ZRThreadError::eCantJoinCurrent);
    EXPECT_CODE(self.terminate(0), ZRThreadError::eCantJoinCurrent);
    return self.stopEvent().wait(kLongMs).isSuccess() ? ZRError::eEnd : ZRError::eTimeout;
  });
  EXPECT_CODE(thread.join(0, true), ZRThreadError::eNotRunning);
  EXPECT_CODE(thread.join(1, false), ZRError::eTimeout);
  EXPECT_CODE(thread.start(), ZRError::eNoError);
  EXPECT_CODE(thread.join(20, true), ZRError::eTimeout);
  EXPECT_CODE(thread.start(), ZRThreadError::eNotInitialized);

  EXPECT_CODE(thread.requestStop(), ZRError::eNoError);
  for (int i = 0; i < 2; ++i)
    EXPECT_CODE(thread.join(ZRSync::kNoLimit, true), ZRError::eNoError);
  EXPECT_TRUE(thread.hasExited) << "a join waits for on-exit as well";
  EXPECT_CODE(thread.runResult(), ZRError::eEnd);
  EXPECT_CODE(thread.start(), ZRThreadError::eNotInitialized);
}

TEST(Thread, OneThatWasNeverStartedEndsWithoutItsBody) {
  const auto fail = [](TestThread&) -> ZRResult {
    ADD_FAILURE() << "its body runs";
    return {};
  };
  TestThread thread(fail);
  for (int i = 0; i < 2; ++i)
    EXPECT_CODE(thread.terminate(kLongMs), ZRError::eNoError);
  EXPECT_EQ(thread.state(), ZRThread::State::finished);
  EXPECT_FALSE(thread.hasExited);
  const TestThread destroyed(fail);
}

TEST(Thread, OneThatIgnoresTheRequestToStopIsTerminated) {
  const test::LogCapture log;
  TestThread thread(forever);
  EXPECT_CODE(thread.start(), ZRError::eNoError);
  EXPECT_CODE(thread.requestStop(), ZRError::eNoError);
  const auto start = Clock::now();
  EXPECT_CODE(thread.joinElseTerminate2(200, true, 5000), ZRError::eNoError);
  EXPECT_GE(Clock::now() - start, 200ms);
  EXPECT_LT(Clock::now() - start, 5s);
  EXPECT_LOGGED(log, "C: ",
                "ZRResult ZRThread::joinElseTerminate2(uint32, bool, uint32) join_() timed out for thread "
                "\"test\".");
  EXPECT_LOGGED(log, "C: ", "Thread \"test\" is being terminated.");
  EXPECT_CODE(thread.runResult(), ZRThreadError::eCanceled);
  EXPECT_CODE(thread.join(kLongMs, true), ZRError::eNoError) << "whoever joins later is not kept waiting";
}

/// A thread without an owner deletes its object at a moment of its choice.
class OwnMaster final : public ZRThread {
 public:
  explicit OwnMaster(bool inBody) : _inBody(inBody) {}

 protected:
  ZRResult run() override {
    if (_inBody) const std::unique_ptr<OwnMaster> self(this);
    return {};
  }
  void onExit() override { const std::unique_ptr<OwnMaster> self(this); }

 private:
  bool _inBody;
};

TEST(Thread, MayDeleteItself) {
  for (const bool inBody : {true, false}) {
    const std::size_t eventsBefore = ZREvent::count();
    for (int i = 0; i < 100; ++i)
      EXPECT_CODE(std::make_unique<OwnMaster>(inBody).release()->start(), ZRError::eNoError);
    const auto limit = Clock::now() + std::chrono::milliseconds(kLongMs);
    while (ZREvent::count() != eventsBefore && Clock::now() < limit)
      EXPECT_CODE(ZRThread::sleep(1), ZRError::eNoError);
    EXPECT_EQ(ZREvent::count(), eventsBefore) << "its events end with a thread";
  }
}

/// A place at which a thread is busy, without waiting for anything, until it is cancelled or soon after.
struct SlowPlace : ILogTarget {
  void writeLine(const char*) override { spin(); }
  void spin() {
    entered = true;
    for (const auto end = Clock::now() + 100ms; Clock::now() < end;) {
    }
    left = true;
  }
  std::atomic<bool> entered{false};
  std::atomic<bool> left{false};
};

TEST(Thread, LeavesTheLogAndItsGuardsBeforeItIsCancelled) {
  ZRThreadMutex mutex;
  const auto target = boost::make_shared<SlowPlace>();
  SlowPlace guarded;
  const TestThread::Body bodies[] = {[](TestThread& self) {
                                       zrrt::log(ZRLogLevel::eError, "slow");
                                       return forever(self);
                                     },
                                     [&](TestThread& self) {
                                       {
                                         const ZRMutex::Guard guard(mutex);
                                         guarded.spin();
                                       }
                                       return forever(self);
                                     }};
  zrrt::setConsoleTarget(target);
  for (const SlowPlace* place : {target.get(), &guarded}) {
    TestThread thread(bodies[place == &guarded ? 1 : 0]);
    EXPECT_CODE(thread.start(), ZRError::eNoError);
    while (!place->entered)
      EXPECT_CODE(ZRThread::sleep(1), ZRError::eNoError);
    zrrt::setConsoleTarget(nullptr);
    EXPECT_CODE(thread.terminate(kLongMs), ZRError::eNoError);
    EXPECT_TRUE(place->left);
  }
  EXPECT_TRUE(mutex.tryLock());
  mutex.unlock();
}

TEST(Thread, AnExceptionOfItsBodyEndsTheProcess) {
  const auto run = [] {
    TestThread thread([](TestThread&) -> ZRResult { throw std::runtime_error("of a body"); });
    static_cast<void>(thread.start());
    static_cast<void>(thread.join(kLongMs, true));
  };
  EXPECT_EXIT(run(), testing::KilledBySignal(SIGABRT), "exception:of a body");
}

}  // namespace
