#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "runtime/Threads/ZREvent.h"
#include "tests/support/ResultMatchers.h"

namespace {

constexpr std::uint32_t kLongMs = 20'000;

TEST(Event, AWaitClearsAnAutomaticEventOnly) {
  for (const auto reset : {ZREvent::Reset::manual, ZREvent::Reset::automatic}) {
    const bool isManual = reset == ZREvent::Reset::manual;
    ZREvent event("event", reset, true);
    EXPECT_CODE(event.wait(0), ZRError::eNoError);
    EXPECT_CODE(event.wait(1), isManual ? ZRError::eNoError : ZRError::eTimeout);
    EXPECT_CODE(event.set(), ZRError::eNoError);
    EXPECT_CODE(event.reset(), ZRError::eNoError);
    EXPECT_CODE(event.wait(0), ZRError::eTimeout);
  }
}

TEST(Event, OneSetOfAnAutomaticEventLetsOneWaiterGo) {
  ZREvent event("turnstile", ZREvent::Reset::automatic);
  std::atomic<int> through{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < 4; ++i)
    waiters.emplace_back([&] { through += event.wait(kLongMs).isSuccess() ? 1 : 100; });
  for (int expected = 1; expected <= 4; ++expected) {
    EXPECT_CODE(event.set(), ZRError::eNoError);
    while (through < expected)
      std::this_thread::yield();
    EXPECT_EQ(through, expected);
  }
  for (std::thread& waiter : waiters)
    waiter.join();
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
