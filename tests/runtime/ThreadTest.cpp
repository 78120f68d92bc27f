#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

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

std::string systemName() {
  std::array<char, 32> name{};
  pthread_getname_np(pthread_self(), name.data(), name.size());
  return name.data();
}

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

TEST(Thread, TakesItsNameInTheLogAndInTheSystem) {
  const test::LogCapture log;
  std::array<std::string, 3> systemNames;
  TestThread thread(
      [&](TestThread& self) {
        systemNames[0] = systemName();
        self.setName("a name of more than fifteen bytes");
        systemNames[1] = systemName();
        zrrt::log(ZRLogLevel::eInformation, "named");
        self.setName("short");
        systemNames[2] = systemName();
        return ZRResult();
      },
      "made");
  thread.setName("started");  // by its owner, before it runs
  EXPECT_CODE(thread.start(), ZRError::eNoError);
  EXPECT_CODE(thread.join(kLongMs, true), ZRError::eNoError);
  EXPECT_EQ(systemNames[0], "started");
  EXPECT_EQ(systemNames[1], "a name of more ");
  EXPECT_EQ(systemNames[2], "short");
  EXPECT_TRUE(log.contains("i: ", "<a name of more than fifteen bytes> named")) << log.text();
  EXPECT_EQ(thread.name(), "short");
}

TEST(Thread, StackSizes) {
  const auto stackOf = [](std::size_t requested) {
    std::size_t size = 0;
    TestThread thread(
        [&size](TestThread&) {
          pthread_attr_t attributes;
          if (pthread_getattr_np(pthread_self(), &attributes) != 0) return ZRResult(ZRError::eSomeError);
          pthread_attr_getstacksize(&attributes, &size);
          pthread_attr_destroy(&attributes);
          return ZRResult();
        },
        "stack", requested);
    EXPECT_CODE(thread.start(), ZRError::eNoError);
    EXPECT_CODE(thread.join(kLongMs, true), ZRError::eNoError);
    return size;
  };
  const std::size_t usual = stackOf(0);
  {
    const test::LogCapture log;
    EXPECT_EQ(stackOf(4096), usual);
    EXPECT_TRUE(
        log.contains("E: ", "Error setting stack size for thread \"stack\". The size must be at least 8192."))
        << log.text();
  }
  const test::LogCapture log;
  const std::size_t asked = 3 * usual;
  EXPECT_GE(stackOf(asked), asked);
  EXPECT_TRUE(log.lines().empty()) << log.text();
  // Large enough for the runtime, too small for this system.
  stackOf(ZRThread::kLeastStackSize);
  EXPECT_TRUE(log.contains("E: ", "Error 22 setting stack size for thread \"stack\".")) << log.text();
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

TEST(Thread, JoinElseTerminateLeavesAThreadAloneThatNeedsNoForce) {
  const test::LogCapture log;
  TestThread idle(untilStopped, "idle");
  EXPECT_CODE(idle.joinElseTerminate2(0, true, 0), ZRThreadError::eNotRunning);
  EXPECT_EQ(idle.state(), ZRThread::State::created);
  EXPECT_CODE(idle.start(), ZRError::eNoError);
  EXPECT_CODE(idle.requestStop(), ZRError::eNoError);
  EXPECT_CODE(idle.joinElseTerminate2(kLongMs, true, 0), ZRError::eNoError);
  EXPECT_CODE(idle.runResult(), ZRError::eNoError);
  EXPECT_FALSE(log.contains("C: ", "")) << log.text();
}

/// A thread that ends while it waits must leave nothing of itself with the event.
TEST(Thread, OneThatWaitsForAnEventCanBeTerminated) {
  ZREvent event("shared", ZREvent::Reset::automatic);
  std::atomic<bool> waits{false};
  TestThread thread(
      [&](TestThread&) {
        waits = true;
        return event.wait(ZRSync::kNoLimit);
      },
      "waiting");
  EXPECT_CODE(thread.start(), ZRError::eNoError);
  while (!waits)
    EXPECT_CODE(ZRThread::sleep(1), ZRError::eNoError);
  EXPECT_CODE(ZRThread::sleep(kSoonMs), ZRError::eNoError);
  EXPECT_CODE(thread.terminate(kLongMs), ZRError::eNoError);
  EXPECT_CODE(event.set(), ZRError::eNoError);
  EXPECT_TRUE(event.isSet());
  EXPECT_CODE(event.wait(0), ZRError::eNoError);
}

/// What a base class can destroy while it runs: a thread without a part of its own.
TEST(Thread, DestroyingARunningOneTerminatesIt) {
  const test::LogCapture log;
  static std::atomic<bool> runs{false};
  class Deaf final : public ZRThread {
   public:
    Deaf() : ZRThread("doomed") {}

   protected:
    ZRResult run() override {
      runs = true;
      for (;;)
        ::pause();
    }
  };
  {
    Deaf thread;
    EXPECT_CODE(thread.start(), ZRError::eNoError);
    while (!runs)
      EXPECT_CODE(ZRThread::sleep(1), ZRError::eNoError);
  }
  EXPECT_TRUE(log.contains("C: ", "Thread \"doomed\" is destroyed while still running.")) << log.text();
  EXPECT_TRUE(log.contains("C: ", "Thread \"doomed\" is being terminated."));
}

TEST(Thread, MayDeleteItselfWhenItIsOver) {
  class SelfDeleting final : public ZRThread {
   public:
    explicit SelfDeleting(ZREvent& release) : ZRThread("own master"), _release(release) {}

   protected:
    ZRResult run() override { return _release.wait(kLongMs); }
    void onExit() override { const std::unique_ptr<SelfDeleting> self(this); }

   private:
    ZREvent& _release;
  };
  const test::LogCapture log;
  ZREvent release("release", ZREvent::Reset::manual);
  const std::size_t eventsBefore = ZREvent::count();
  EXPECT_CODE(std::make_unique<SelfDeleting>(release).release()->start(), ZRError::eNoError);
  EXPECT_CODE(release.set(), ZRError::eNoError);
  const auto limit = Clock::now() + std::chrono::milliseconds(kLongMs);
  while (ZREvent::count() != eventsBefore && Clock::now() < limit)
    EXPECT_CODE(ZRThread::sleep(1), ZRError::eNoError);
  EXPECT_EQ(ZREvent::count(), eventsBefore);
  EXPECT_TRUE(log.contains("d: ", "Thread \"own master\" deleting itself.")) << log.text();
}

TEST(Thread, SleepLastsAsLongAsAsked) {
  const auto start = Clock::now();
  EXPECT_CODE(ZRThread::sleep(kSoonMs), ZRError::eNoError);
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(kSoonMs));
}

}  // namespace
