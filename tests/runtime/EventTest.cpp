#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "runtime/Threads/ZRCondition.h"
#include "runtime/Threads/ZREvent.h"
#include "runtime/Threads/ZRMutex.h"
#include "tests/support/ResultMatchers.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kLongMs = 20'000;

TEST(Event, ResetRules) {
  struct Case {
    const char* name;
    ZREvent::Reset reset;
    bool initiallySet;
    std::uint32_t firstWait;
    std::uint32_t secondWait;
  };
  constexpr Case kCases[] = {
      {"manual, clear", ZREvent::Reset::manual, false, ZRError::eTimeout, ZRError::eTimeout},
      {"manual, set", ZREvent::Reset::manual, true, ZRError::eNoError, ZRError::eNoError},
      {"automatic, clear", ZREvent::Reset::automatic, false, ZRError::eTimeout, ZRError::eTimeout},
      {"automatic, set", ZREvent::Reset::automatic, true, ZRError::eNoError, ZRError::eTimeout},
  };
  for (const Case& row : kCases) {
    SCOPED_TRACE(row.name);
    ZREvent event("event", row.reset, row.initiallySet);
    EXPECT_CODE(event.wait(0), row.firstWait);
    EXPECT_CODE(event.wait(1), row.secondWait);
    EXPECT_CODE(event.set(), ZRError::eNoError);
    EXPECT_CODE(event.reset(), ZRError::eNoError);
    EXPECT_CODE(event.wait(0), ZRError::eTimeout);
  }
}

TEST(Event, OneSetOfAnAutomaticEventLetsOneWaiterGo) {
  constexpr int kWaiters = 4;
  ZREvent event("turnstile", ZREvent::Reset::automatic);
  std::atomic<int> through{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < kWaiters; ++i)
    waiters.emplace_back([&] { through += event.wait(kLongMs).isSuccess() ? 1 : 100; });
  for (int expected = 1; expected <= kWaiters; ++expected) {
    EXPECT_CODE(event.set(), ZRError::eNoError);
    while (through < expected)
      std::this_thread::yield();
    EXPECT_FALSE(event.isSet());
    EXPECT_EQ(through, expected);
  }
  for (std::thread& waiter : waiters)
    waiter.join();
}

TEST(Event, AManualEventLetsEveryWaiterGo) {
  ZREvent event("gate", ZREvent::Reset::manual);
  std::vector<std::thread> waiters;
  for (int i = 0; i < 4; ++i)
    waiters.emplace_back([&] { EXPECT_CODE(event.wait(ZRSync::kNoLimit), ZRError::eNoError); });
  EXPECT_CODE(event.set(), ZRError::eNoError);
  for (std::thread& waiter : waiters)
    waiter.join();
  EXPECT_TRUE(event.isSet());
}

TEST(Event, WaitingForAnyTakesTheFirstThatIsSet) {
  ZREvent first("first", ZREvent::Reset::automatic);
  ZREvent second("second", ZREvent::Reset::automatic);
  const std::array<ZREvent*, 2> both{&first, &second};
  const auto waitForBoth = [&](std::uint32_t timeoutMs, std::size_t& index) {
    return ZREvent::waitForAny(both.data(), both.size(), timeoutMs, index);
  };
  std::size_t index = 9;
  EXPECT_CODE(waitForBoth(1, index), ZRError::eTimeout);

  std::thread setter([&] {
    std::this_thread::sleep_for(5ms);
    EXPECT_CODE(second.set(), ZRError::eNoError);
  });
  EXPECT_CODE(waitForBoth(kLongMs, index), ZRError::eNoError);
  EXPECT_EQ(index, 1U);
  setter.join();

  EXPECT_CODE(first.set(), ZRError::eNoError);
  EXPECT_CODE(second.set(), ZRError::eNoError);
  EXPECT_CODE(waitForBoth(0, index), ZRError::eNoError);
  EXPECT_EQ(index, 0U);
  EXPECT_TRUE(second.isSet()) << "a wait clears only the event that satisfied it";
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

TEST(Condition, RemembersABroadcastUntilAWaitAnswersToIt) {
  ZRThreadMutex mutex;
  ZRCondition condition;
  EXPECT_CODE(condition.creationResult(), ZRError::eNoError);
  {
    const ZRMutex::Guard guard(mutex);
    EXPECT_CODE(condition.wait(mutex, 1), ZRError::eTimeout);
  }
  EXPECT_FALSE(condition.isSignalled());
  EXPECT_CODE(condition.broadcast(), ZRError::eNoError);
  EXPECT_TRUE(condition.isSignalled());

  std::thread signaller;
  {
    const ZRMutex::Guard guard(mutex);
    signaller = std::thread([&] {
      const ZRMutex::Guard after(mutex);  // so not before the wait below
      EXPECT_CODE(condition.broadcast(), ZRError::eNoError);
    });
    EXPECT_CODE(condition.wait(mutex, kLongMs), ZRError::eNoError);
  }
  signaller.join();
  EXPECT_FALSE(condition.isSignalled());
}

TEST(Mutex, ItsOwnerMayLockItAgainAndNobodyElse) {
  ZRThreadMutex mutex("handle mutex");
  EXPECT_STREQ(mutex.name(), "handle mutex");
  const auto othersCanLock = [&mutex] {
    bool locked = false;
    std::thread other([&] {
      locked = mutex.tryLock();
      if (locked) mutex.unlock();
    });
    other.join();
    return locked;
  };
  {
    const ZRMutex::Guard guard(mutex);
    const ZRMutex::Guard again(mutex);
    EXPECT_FALSE(othersCanLock());
  }
  EXPECT_TRUE(othersCanLock());
}

}  // namespace
