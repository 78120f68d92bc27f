#include <gtest/gtest.h>

#include "Code/Common/DelayArithmetic.h"
#include "tests/agent/AgentHome.h"
#include "tests/support/OrdinaryUser.h"

namespace {

using platform::Seconds;
namespace plist = platform::plist;

TEST(DelayArithmeticTest, ThirtyTwoBitsWithoutATrap) {
  struct Case {
    std::int32_t minimum, maximum;
    std::uint32_t unit, random, delay;
  };
  const Case cases[] = {{1, 2, kSecondsPerDay, 0, 86'400},
                        {1, 2, kSecondsPerDay, 86'399, 172'799},
                        {1, 2, kSecondsPerDay, 86'400, 86'400},
                        {0, 6, kSecondsPerHour, 4'294'967'295, 1'695},
                        {0, 1 << 25, kSecondsPerDay, 12'345, 12'345},  // the span is 0 in 32 bits
                        {50'000, 50'001, kSecondsPerDay, 0, 25'032'704}};
  for (const Case& c : cases)
    EXPECT_EQ(delaySeconds(c.minimum, c.maximum, c.unit, c.random), c.delay) << c.minimum << " " << c.maximum;
}

class ScheduleTest : public ::testing::Test, public test::EngineHome {
 protected:
  /// Preferences with a check that is due for `late` seconds (negative: in the future).
  void setLate(double late, plist::Dictionary more = {}) {
    more["NextUpdateCheck"] = clock.now() - Seconds(late);
    setPreferences(more);
  }
  [[nodiscard]] double secondsToNextCheck() const {
    return (*preference("NextUpdateCheck")->as<platform::Date>() - clock.now()).count();
  }
  [[nodiscard]] std::optional<plist::Value> storedCount() const {
    return preference("RescheduledUpdateChecks");
  }

  test::FixedClock clock;
};

TEST_F(ScheduleTest, DueLateAndPostponed) {
  using Count = std::optional<plist::Value>;
  struct Case {
    double late;
    Count postponed;
    bool due;
    Count storedAfter;
    bool alwaysCheck = false;
  };
  const Case cases[] = {{-1, {}, false, {}},     {0, {}, true, 0},        {10'799, 0, true, 0},
                        {10'800, 0, false, 1},   {1e7, {}, false, 1},     {10'800, 1, true, 0},
                        {1e7, 3, true, 0},       {10'800, -5, false, -4}, {-100, 1, false, 1},
                        {-1e6, 2, true, 2, true}};
  for (const Case& c : cases) {
    plist::Dictionary more = {{"AlwaysCheck", c.alwaysCheck}};
    if (c.postponed) more["RescheduledUpdateChecks"] = *c.postponed;
    setLate(c.late, more);
    const auto engine = VNTUpdate::init();
    ASSERT_TRUE(engine);
    EXPECT_EQ(engine->isTimeForUpdateCheck(), c.due) << c.late;
    EXPECT_EQ(storedCount(), c.storedAfter) << c.late;
  }
}

TEST_F(ScheduleTest, PostponesByZeroToSixHoursAndKeepsUnknownPreferences) {
  setLate(20'000, {{"SomeoneElses", "value"}});
  const test::FixedRandom random(21'599);
  EXPECT_FALSE(engine().isTimeForUpdateCheck());
  EXPECT_DOUBLE_EQ(secondsToNextCheck(), 21'599);
  EXPECT_EQ(*preference("SomeoneElses"), plist::Value("value"));
  EXPECT_LOGGED(log, "d: ", "Next Update Check at 2026-11-16 00:17:25 +0000");
}

TEST_F(ScheduleTest, NextCheckFollowsTheAdoptedSettings) {
  struct Case {
    UpdateSettings settings;
    double days;  ///< at least
  };
  const Case cases[] = {{{true, 3, 5}, 3}, {{true, 0, 1}, 0},  // and what is no span of time
                        {{true, 3, 3}, 1}, {{true, -1, 2}, 1}, {{true, 0, 0}, 1}, {{true, 7, 4}, 1}};
  const test::FixedRandom random(86'399);
  for (const Case& c : cases) {
    test::EngineParts fresh(fileManager, settings);
    fresh.schedule.adoptSettings(c.settings);
    fresh.schedule.calculateNextUpdateCheck(UpdateSchedule::eAfterCheck);
    EXPECT_DOUBLE_EQ(secondsToNextCheck(), c.days * kSecondsPerDay + 86'399) << c.settings.minDelayInDays;
  }
}

TEST_F(ScheduleTest, NoEngineWithoutItsFilesAndFolders) {
  namespace fs = std::filesystem;
  const test::OrdinaryUser ordinary;
  const auto expectNone = [this](const char* message) {
    EXPECT_FALSE(VNTUpdate::init());
    EXPECT_LOGGED(log, "E: ", message);
  };
  fs::remove_all(applications());
  expectNone("No suitable installation path found - aborting!");
  fs::permissions(tempPath(), fs::perms(0555));
  expectNone("Local download folder inaccessible - aborting!");
  fs::permissions(tempPath(), fs::perms(0755));
  fs::rename(tempPath(), tempPath() + ".away");
  expectNone("Local download folder not found - aborting!");
  fs::rename(tempPath() + ".away", tempPath());
  test::makeFolder(applications());
  setPreferences({{"NextUpdateCheck", "soon"}});
  expectNone("Time for next update check not found in Preferences plist - aborting!");
  test::writeFile(plistPath(), "<?xml version=\"1.0\"?><plist version=\"1.0\"><array/></plist>");
  expectNone("Error reading plist at ");
  fs::remove(plistPath());
  expectNone("Preferences not found at ");
}

TEST_F(ScheduleTest, ValuesOfTheWrongTypeCountAsAbsent) {
  setLate(0, {{"RescheduledUpdateChecks", plist::Array{}},
              {"AlwaysCheck", clock.now()},
              {"AggressivelyCleanup", plist::Array{}},
              {"UpdateInfoURL", 5}});
  EXPECT_TRUE(engine().beAggressive());
  for (const std::string key :
       {"RescheduledUpdateChecks", "AlwaysCheck", "AggressivelyCleanup", "UpdateInfoURL"})
    EXPECT_LOGGED(log, "W: ", "Preferences value " + key + " has the wrong type and is ignored");
}

TEST_F(ScheduleTest, AnAddressThatMayNotBeUsedIsReplaced) {
  for (const char* url : {"http://x.vantora.example/c.json", "https://evil.example/c.json", ""})
    EXPECT_EQ(usableUpdateInfoURL(url), test::kDefaultUpdateInfoUrl) << url;
  EXPECT_LOGGED(log, "d: ", "The url scheme 'http' is not safe. Using default URL.");
  EXPECT_LOGGED(log, "d: ", "Server 'evil.example' is not trusted. Using default URL.");
  EXPECT_LOGGED(log, "d: ", "The url scheme '(null)' is not safe. Using default URL.");
  EXPECT_EQ(usableUpdateInfoURL("https://x.korvane.example/c.json"), "https://x.korvane.example/c.json");
}

}  // namespace
