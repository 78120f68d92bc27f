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
  [[nodiscard]] double secondsToNextCheck() const {
    return (*preference("NextUpdateCheck")->as<platform::Date>() - clock.now()).count();
  }

  test::FixedClock clock;
};

TEST_F(ScheduleTest, DueLateOrPostponedByZeroToSixHours) {
  using Count = std::optional<plist::Value>;
  struct Case {
    double late;  ///< seconds for which the check is due; negative: in the future
    Count postponed;
    bool due;
    Count storedAfter;
    bool alwaysCheck = false;
  };
  const Case cases[] = {{-1, {}, false, {}},     {0, {}, true, 0},    {10'799, 0, true, 0},
                        {10'800, 0, false, 1},   {1e7, {}, false, 1}, {10'800, 1, true, 0},
                        {10'800, -5, false, -4}, {-100, 1, false, 1}, {-1e6, 2, true, 2, true}};
  const test::FixedRandom random(21'599);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.late);
    plist::Dictionary stored = {{"NextUpdateCheck", clock.now() - Seconds(c.late)},
                                {"AlwaysCheck", c.alwaysCheck},
                                {"SomeoneElses", "value"}};
    if (c.postponed) stored["RescheduledUpdateChecks"] = *c.postponed;
    setPreferences(stored);
    EXPECT_EQ(VNTUpdate::init()->isTimeForUpdateCheck(), c.due);
    EXPECT_EQ(preference("RescheduledUpdateChecks"), c.storedAfter);
    EXPECT_DOUBLE_EQ(secondsToNextCheck(), c.due || c.late < 0 ? -c.late : 21'599);
    EXPECT_EQ(*preference("SomeoneElses"), plist::Value("value"));
  }
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
    const auto fresh = makeParts();
    fresh->schedule.adoptSettings(c.settings);
    fresh->schedule.calculateNextUpdateCheck(UpdateSchedule::eAfterCheck);
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
  // Each of them is looked at before those that are spoilt already.
  setPreferences({{"NextUpdateCheck", "soon"}});
  expectNone("Time for next update check not found in Preferences plist - aborting!");
  fs::remove_all(applications());
  expectNone("No suitable installation path found - aborting!");
  fs::permissions(tempPath(), fs::perms(0555));
  expectNone("Local download folder inaccessible - aborting!");
  fs::permissions(tempPath(), fs::perms(0755));
  fs::rename(tempPath(), tempPath() + ".away");
  expectNone("Local download folder not found - aborting!");
  test::writeFile(plistPath(), "<?xml version=\"1.0\"?><plist version=\"1.0\"><array/></plist>");
  expectNone("Error reading plist at ");
  fs::remove(plistPath());
  expectNone("Preferences not found at ");
}

TEST_F(ScheduleTest, ValuesOfTheWrongTypeCountAsAbsent) {
  setPreferences({{"NextUpdateCheck", clock.now()},
                  {"RescheduledUpdateChecks", plist::Array{}},
                  {"AlwaysCheck", clock.now()},
                  {"AggressivelyCleanup", plist::Array{}},
                  {"UpdateInfoURL", 5}});
  EXPECT_TRUE(VNTUpdate::init()->beAggressive());
  for (const std::string key :
       {"RescheduledUpdateChecks", "AlwaysCheck", "AggressivelyCleanup", "UpdateInfoURL"})
    EXPECT_LOGGED(log, "W: ", "Preferences value " + key + " has the wrong type and is ignored");
}

TEST_F(ScheduleTest, AnAddressThatMayNotBeUsedIsReplaced) {
  const std::optional<std::string> kUnusable[] = {"http://x.vantora.example/c.json",
                                                  "https://evil.example/c.json", "", std::nullopt};
  for (const auto& url : kUnusable)
    EXPECT_EQ(usableUpdateInfoURL(url), configuration::kDefaultUpdateInfoUrl) << url.value_or("none");
  EXPECT_LOGGED(log, "d: ", "UpdateInfo URL not found in Preferences plist. Using default URL.");
  EXPECT_LOGGED(log, "d: ", "The url scheme 'http' is not safe. Using default URL.");
  EXPECT_LOGGED(log, "d: ", "Server 'evil.example' is not trusted. Using default URL.");
  EXPECT_EQ(usableUpdateInfoURL("https://x.korvane.example/c.json"), "https://x.korvane.example/c.json");
}

}  // namespace
