#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "runtime/Threads/ZREvent.h"
#include "tests/support/ResultMatchers.h"

namespace {

constexpr std::uint32_t kLongMs = 20'000;

TEST(Event, ResetRules) {
  const struct {
    ZREvent::Reset reset;
    bool initiallySet;
    std::uint32_t firstWait;
    std::uint32_t secondWait;
  } rows[] = {
      {ZREvent::Reset::manual, false, ZRError::eTimeout, ZRError::eTimeout},
      {ZREvent::Reset::manual, true, ZRError::eNoError, ZRError::eNoError},
      {ZREvent::Reset::automatic, true, ZRError::eNoError, ZRError::eTimeout},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.reset == ZREvent::Reset::manual ? "manual" : "automatic");
    ZREvent event("event", row.reset, row.initiallySet);
    EXPECT_CODE(event.wait(0), row.firstWait);
    EXPECT_CODE(event.wait(1), row.secondWait);
    EXPECT_CODE(event.set(), ZRError::eNoError);
    EXPECT_CODE(event.reset(), ZRError::eNoError);
    EXPECT_CODE(event.wait(0), ZRError::eTimeout);
  }
}

TEST(Event, ASetLetsOneWaiterGoOrAll) {
  constexpr int kWaiters = 4;
  for (const auto reset : {ZREvent::Reset::manual, ZREvent::Reset::automatic}) {
    ZREvent event("turnstile or gate", reset);
    std::atomic<int> through{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < kWaiters; ++i)
      waiters.emplace_back([&] { through += event.wait(kLongMs).isSuccess() ? 1 : 100; });
    int expected = 0;
    while (expected < kWaiters) {
      EXPECT_CODE(event.set(), ZRError::eNoError);
      expected += reset == ZREvent::Reset::manual ? kWaiters : 1;
      while (through < expected)
        std::this_thread::yield();
      EXPECT_EQ(through, expected);
    }
    for (std::thread& waiter : waiters)
      waiter.join();
  }
}

TEST(Event, WaitingForAnyTakesTheFirstThatIsSet) {
  ZREvent first("first", ZREvent::Reset::automatic);
  ZREvent second("second", ZREvent::Reset::automatic);
  const std::array<ZREvent*, 2> both{&first, &second};
  std::size_t index = 9;
  std::thread setter([&] { EXPECT_CODE(second.set(), ZRError::eNoError); });
  EXPECT_CODE(ZREvent::waitForAny(both.data(), both.size(), kLongMs, index), ZRError::eNoError);
  EXPECT_EQ(index, 1U);
  EXPECT_FALSE(second.isSet());
  setter.join();
  EXPECT_CODE(ZREvent::waitForAny(both.data(), both.size(), 1, index), ZRError::eTimeout);
}

/// The waiter may end the event as soon as it was let go, while `set` is still at work.
TEST(Event, AWaiterMayEndTheEventThatLetItGo) {
  for (int i = 0; i < 500; ++i) {
    auto event = std::make_unique<ZREvent>("short-lived", ZREvent::Reset::manual);
    std::thread setter([&event = *event] { EXPECT_CODE(event.set(), ZRError::eNoError); });
    EXPECT_CODE(event->wait(ZRSync::kNoLimit), ZRError::eNoError);
    event.reset();
    setter.join();
  }
}

TEST(Mutex, ItsOwnerMayLockItAgainAndNobodyElse) {
  ZRThreadMutex mutex;
  const ZRMutex::Guard guard(mutex);
  const ZRMutex::Guard again(mutex);
  std::thread([&] { EXPECT_FALSE(mutex.tryLock()); }).join();
}

}  // namespace
