#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <boost/make_shared.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

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

constexpr std::uint32_t kSoonMs = 20;
constexpr std::uint32_t kLongMs = 20'000;
/// Larger than the address space: the system refuses such a thread.
constexpr std::size_t kImpossibleStack = std::size_t{1} << 50;

/// Runs a function as its body.
class TestThread final : public ZRThread {
 public:
  using Body = std::function<ZRResult(TestThread&)>;
  explicit TestThread(Body body, const ZRString& name = "test", std::size_t stackSize = 0)
      : ZRThread(name, stackSize), _body(std::move(body)) {}

  std::function<void(TestThread&)> atExit;
  ZREvent& stopEvent() { return _evStopThread; }

 protected:
  ZRResult run() override { return _body(*this); }
  void onExit() override {
    if (atExit) atExit(*this);
  }

 private:
  Body _body;
};

ZRResult untilStopped(TestThread& thread) {
  return thread.stopEvent().wait(kLongMs);
}

/// Ignores every request, in a system call.
ZRResult forever(TestThread&) {
  for (;;)
    ::pause();
}

TEST(Thread, RunsItsBodyOnceStartedAndKeepsTheResult) {
  const test::LogCapture log;
  std::atomic<int> runs{0};
  std::atomic<bool> exited{false};
  TestThread thread(
      [&](TestThread& self) {
        ++runs;
        EXPECT_EQ(ZRThread::current(), &self);
        EXPECT_CODE(self.join(0, false), ZRThreadError::eCantJoinCurrent);
        EXPECT_CODE(self.terminate(0), ZRThreadError::eCantJoinCurrent);
        return untilStopped(self).isSuccess() ? ZRResult(ZRError::eEnd) : ZRResult(ZRError::eTimeout);
      },
      "worker");
  thread.atExit = [&](TestThread& self) {
    EXPECT_EQ(ZRThread::current(), nullptr);
    EXPECT_CODE(self.join(0, false), ZRThreadError::eCantJoinCurrent);
    exited = true;
  };
  EXPECT_EQ(thread.state(), ZRThread::State::created);
  EXPECT_CODE(thread.join(0, true), ZRThreadError::eNotRunning);
  EXPECT_CODE(thread.join(1, false), ZRError::eTimeout);
  EXPECT_TRUE(log.contains("d: ", "join() called on thread \"worker\" before it has been started."))
      << log.text();
  EXPECT_EQ(runs, 0);

  EXPECT_CODE(thread.start(), ZRError::eNoError);
  EXPECT_EQ(thread.state(), ZRThread::State::running);
  EXPECT_CODE(thread.join(kSoonMs, true), ZRError::eTimeout);
  EXPECT_CODE(thread.start(), ZRThreadError::eNotInitialized);
  EXPECT_TRUE(log.contains("C: ", "Thread \"worker\" was not ready to run, state=2")) << log.text();

  EXPECT_CODE(thread.requestStop(), ZRError::eNoError);
  EXPECT_TRUE(thread.isStopRequested());
  EXPECT_CODE(thread.join(ZRSync::kNoLimit, true), ZRError::eNoError);
  EXPECT_CODE(thread.join(ZRSync::kNoLimit, true), ZRError::eNoError) << "a second join finds it joined";
  EXPECT_EQ(runs, 1);
  EXPECT_TRUE(exited) << "a join waits for on-exit as well";
  EXPECT_EQ(thread.state(), ZRThread::State::finished);
  EXPECT_CODE(thread.runResult(), ZRError::eEnd);
  EXPECT_CODE(thread.start(), ZRThreadError::eNotInitialized);
  EXPECT_TRUE(log.contains("C: ", "was not ready to run, state=3"));
  EXPECT_EQ(ZRThread::current(), nullptr);
}

TEST(Thread, OneThatCannotBeMadeSaysSo) {
  const test::LogCapture log;
  TestThread thread(untilStopped, "huge", kImpossibleStack);
  EXPECT_TRUE(thread.creationResult().isFailure());
  EXPECT_TRUE(log.contains("C: ", "pthread_create failed and returned error code: 11 (too many threads)"))
      << log.text();
  EXPECT_NE(std::string(thread.creationResult().message().c_str()).find("Method \"pthread_create\""),
            std::string::npos);
  EXPECT_CODE(thread.start(), thread.creationResult().code());
  EXPECT_TRUE(log.contains("C: ", "Thread \"huge\" handle is not valid."));
  EXPECT_CODE(thread.join(0, false), thread.creationResult().code());
  EXPECT_TRUE(log.contains("C: ", "Join to thread \"huge\" called on NULL thread."));
  EXPECT_TRUE(thread.terminate(0).isFailure());
}

TEST(Thread, OneThatWasNeverStartedEndsWithoutItsBody) {
  std::atomic<int> calls{0};
  const auto count = [&calls](TestThread&) {
    ++calls;
    return ZRResult();
  };
  {
    TestThread thread(count);
    thread.atExit = [&calls](TestThread&) { ++calls; };
    EXPECT_CODE(thread.terminate(kLongMs), ZRError::eNoError);
    EXPECT_EQ(thread.state(), ZRThread::State::finished);
    EXPECT_CODE(thread.terminate(kLongMs), ZRError::eNoError);
  }
  const std::size_t events = ZREvent::count();
  { const TestThread destroyed(count); }
  EXPECT_EQ(ZREvent::count(), events);
  EXPECT_EQ(calls, 0);
}

TEST(Thread, OneThatIgnoresTheRequestToStopIsTerminated) {
  const test::LogCapture log;
  TestThread thread(forever, "deaf");
  EXPECT_CODE(thread.start(), ZRError::eNoError);
  EXPECT_CODE(thread.requestStop(), ZRError::eNoError);
  const auto start = Clock::now();
  EXPECT_CODE(thread.joinElseTerminate2(200, true, 5000), ZRError::eNoError);
  const auto waited = Clock::now() - start;
  EXPECT_GE(waited, 200ms);
  EXPECT_LT(waited, 5s);
  EXPECT_TRUE(
      log.contains("C: ",
                   "ZRResult ZRThread::joinElseTerminate2(uint32, bool, uint32) join_() timed out for "
                   "thread \"deaf\"."))
      << log.text();
  EXPECT_TRUE(log.contains("C: ", "Thread \"deaf\" is being terminated."));
  EXPECT_EQ(thread.state(), ZRThread::State::finished);
  EXPECT_CODE(thread.runResult(), ZRThreadError::eCanceled);
  EXPECT_CODE(thread.join(kLongMs, true), ZRError::eNoError) << "whoever joins later is not kept waiting";
}

/// A thread without an owner deletes its object at a moment of its choice.
class OwnMaster final : public ZRThread {
 public:
  enum class Moment { inBody, onExit };
  OwnMaster(Moment moment, std::atomic<int>& deleted)
      : ZRThread("own master"), _moment(moment), _deleted(deleted) {}
  ~OwnMaster() override { ++_deleted; }

 protected:
  ZRResult run() override {
    if (_moment == Moment::inBody) const std::unique_ptr<OwnMaster> self(this);
    return {};
  }
  void onExit() override { const std::unique_ptr<OwnMaster> self(this); }

 private:
  Moment _moment;
  std::atomic<int>& _deleted;
};

TEST(Thread, MayDeleteItself) {
  constexpr int kRounds = 100;
  for (const auto moment : {OwnMaster::Moment::inBody, OwnMaster::Moment::onExit}) {
    const test::LogCapture log;
    const std::size_t eventsBefore = ZREvent::count();
    std::atomic<int> deleted{0};
    for (int i = 0; i < kRounds; ++i)
      EXPECT_CODE(std::make_unique<OwnMaster>(moment, deleted).release()->start(), ZRError::eNoError);
    const auto limit = Clock::now() + std::chrono::milliseconds(kLongMs);
    while ((deleted != kRounds || ZREvent::count() != eventsBefore) && Clock::now() < limit)
      EXPECT_CODE(ZRThread::sleep(1), ZRError::eNoError);
    EXPECT_EQ(deleted, kRounds);
    EXPECT_EQ(ZREvent::count(), eventsBefore);
    EXPECT_TRUE(log.contains("d: ", "Thread \"own master\" deleting itself.")) << log.text();
  }
}

/// A target at which a thread is busy, without waiting for anything, until it is cancelled or soon after.
struct SlowTarget : ILogTarget {
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
  const auto target = boost::make_shared<SlowTarget>();
  SlowTarget guarded;
  const TestThread::Body bodies[] = {[](TestThread&) -> ZRResult {
                                       zrrt::log(ZRLogLevel::eError, "slow");
                                       for (;;)
                                         ::pause();
                                     },
                                     [&](TestThread&) -> ZRResult {
                                       {
                                         const ZRMutex::Guard guard(mutex);
                                         guarded.spin();
                                       }
                                       for (;;)
                                         ::pause();
                                     }};
  const SlowTarget* places[] = {target.get(), &guarded};
  for (int i = 0; i < 2; ++i) {
    TestThread thread(bodies[i]);
    zrrt::setConsoleTarget(i == 0 ? target : nullptr);
    EXPECT_CODE(thread.start(), ZRError::eNoError);
    while (!places[i]->entered)
      EXPECT_CODE(ZRThread::sleep(1), ZRError::eNoError);
    zrrt::setConsoleTarget(nullptr);
    EXPECT_CODE(thread.terminate(kLongMs), ZRError::eNoError);
    EXPECT_CODE(thread.runResult(), ZRThreadError::eCanceled);
    EXPECT_TRUE(places[i]->left);
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
