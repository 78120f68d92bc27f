#include <gtest/gtest.h>

#include "Code/MacOSX/VNTUpdate/DelayArithmetic.h"
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
                        {0, 6, kSecondsPerHour, 21'600, 0},
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
  [[nodiscard]] int storedCount() const {
    const auto value = preference("RescheduledUpdateChecks");
    return value ? static_cast<int>(value->integerValue().value_or(-2)) : -1;
  }

  test::FixedClock clock;
};

TEST_F(ScheduleTest, DueLateAndPostponed) {
  struct Case {
    double late;
    int postponed;  ///< -1: the key is absent
    bool due;
    int storedAfter;
  };
  const Case cases[] = {{-1, -1, false, -1},   {0, -1, true, 0},        {10'799, 0, true, 0},
                        {10'800, 0, false, 1}, {1e7, -1, false, 1},     {10'800, 1, true, 0},
                        {1e7, 3, true, 0},     {10'800, -5, false, -4}, {-100, 1, false, 1}};
  for (const Case& c : cases) {
    setLate(c.late, c.postponed == -1 ? plist::Dictionary{}
                                      : plist::Dictionary{{"RescheduledUpdateChecks", c.postponed}});
    const auto engine = VNTUpdate::init();
    ASSERT_TRUE(engine);
    EXPECT_EQ(engine->isTimeForUpdateCheck(), c.due) << c.late << "/" << c.postponed;
    EXPECT_EQ(storedCount(), c.storedAfter) << c.late << "/" << c.postponed;
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

TEST_F(ScheduleTest, AlwaysCheckOverridesAndSavesNothing) {
  setLate(-1e6, {{"AlwaysCheck", true}, {"RescheduledUpdateChecks", 2}});
  EXPECT_TRUE(engine().isTimeForUpdateCheck());
  EXPECT_EQ(storedCount(), 2);
}

TEST_F(ScheduleTest, NextCheckFollowsTheAdoptedSettings) {
  struct Case {
    UpdateSettings settings;
    double seconds;  ///< with a random number of 86,399
  };
  constexpr double kDay = 86'400;
  const Case cases[] = {{{true, 3, 5}, 3 * kDay + 86'399}, {{true, 0, 1}, 86'399},
                        {{true, 3, 3}, kDay + 86'399},     {{true, -1, 2}, kDay + 86'399},
                        {{true, 0, 0}, kDay + 86'399},     {{true, 7, 4}, kDay + 86'399}};
  const test::FixedRandom random(86'399);
  for (const Case& c : cases) {
    test::EngineParts fresh(fileManager, settings);
    fresh.schedule.adoptSettings(c.settings);
    fresh.schedule.calculateNextUpdateCheck(UpdateSchedule::eAfterCheck);
    EXPECT_DOUBLE_EQ(secondsToNextCheck(), c.seconds) << c.settings.minDelayInDays;
  }
  parts().schedule.adoptSettings({false, 3, 5});
  parts().schedule.calculateNextUpdateCheck(UpdateSchedule::eAfterCheck);
  EXPECT_EQ(*preference("NextUpdateCheck"), plist::Value(platform::distantFuture()));
}

TEST_F(ScheduleTest, NoEngineWithoutItsPreferences) {
  struct Case {
    std::string file;  ///< contents of the preference file; "-": none
    const char* message;
  };
  const std::string list = "<?xml version=\"1.0\"?><plist version=\"1.0\">";
  const Case cases[] = {
      {"-", "Preferences not found at "},
      {"not a list", "Error reading plist at "},
      {list + "<array/></plist>", "Error reading plist at "},
      {list + "<dict/></plist>", "Time for next update check not found in Preferences plist - aborting!"},
      {list + "<dict><key>NextUpdateCheck</key><string>soon</string></dict></plist>",
       "Time for next update check not found in Preferences plist - aborting!"}};
  for (const Case& c : cases) {
    std::filesystem::remove(plistPath());
    if (c.file != "-") test::writeFile(plistPath(), c.file);
    log.clear();
    EXPECT_FALSE(VNTUpdate::init());
    EXPECT_TRUE(log.contains("E: ", c.message)) << c.message << " in\n" << log.text();
  }
}

TEST_F(ScheduleTest, NoEngineWithoutItsFolders) {
  std::filesystem::remove_all(applications());
  EXPECT_FALSE(VNTUpdate::init());
  EXPECT_LOGGED(log, "E: ", "No suitable installation path found - aborting!");
  std::filesystem::permissions(tempPath(), std::filesystem::perms(0555));
  {
    const test::OrdinaryUser ordinary;
    EXPECT_FALSE(VNTUpdate::init());
  }
  EXPECT_LOGGED(log, "E: ", "Local download folder inaccessible - aborting!");
  std::filesystem::permissions(tempPath(), std::filesystem::perms(0755));
  std::filesystem::remove_all(tempPath());
  EXPECT_FALSE(VNTUpdate::init());
  EXPECT_LOGGED(log, "E: ", "Local download folder not found - aborting!");
}

TEST_F(ScheduleTest, ValuesOfTheWrongTypeCountAsAbsent) {
  setPreferences({{"NextUpdateCheck", clock.now()},
                  {"RescheduledUpdateChecks", plist::Array{}},
                  {"CleanupDownloadCache", plist::Dictionary{}},
                  {"AlwaysCheck", clock.now()},
                  {"AggressivelyCleanup", plist::Array{}},
                  {"UpdateInfoURL", 5}});
  EXPECT_TRUE(engine().beAggressive());
  EXPECT_TRUE(engine().isTimeForUpdateCheck());
  EXPECT_EQ(storedCount(), 0);
  for (const char* key : {"RescheduledUpdateChecks", "CleanupDownloadCache", "AlwaysCheck",
                          "AggressivelyCleanup", "UpdateInfoURL"}) {
    EXPECT_LOGGED(log, "W: ", std::string("Preferences value ") + key + " has the wrong type and is ignored");
  }
}

TEST_F(ScheduleTest, AnAddressThatMayNotBeUsedIsReplaced) {
  struct Case {
    std::string url;
    const char* message;
  };
  const char* const kNoUrl = "The url scheme '(null)' is not safe. Using default URL.";
  const Case cases[] = {
      {"http://x.vantora.example/c.json", "The url scheme 'http' is not safe. Using default URL."},
      {"https://evil.example/c.json", "Server 'evil.example' is not trusted. Using default URL."},
      {"https://x.vantora.example@evil.example/", "Server 'evil.example' is not trusted. Using default URL."},
      {std::string("https://x.vantora.example\0.evil.example/", 41), kNoUrl},
      {"", kNoUrl}};
  for (const Case& c : cases) {
    log.clear();
    EXPECT_EQ(usableUpdateInfoURL(c.url), test::kDefaultUpdateInfoUrl);
    EXPECT_LOGGED(log, "d: ", c.message);
  }
  EXPECT_EQ(usableUpdateInfoURL("https://x.korvane.example/c.json"), "https://x.korvane.example/c.json");
  EXPECT_EQ(usableUpdateInfoURL(std::nullopt), test::kDefaultUpdateInfoUrl);
}

}  // namespace
