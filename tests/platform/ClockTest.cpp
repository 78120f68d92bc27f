#include "platform/Clock.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <utility>

namespace {

using platform::Date;
using platform::Seconds;

TEST(Clock, WritesAndReadsDates) {
  const std::pair<double, const char*> cases[] = {{0, "1970-01-01T00:00:00Z"},
                                                  {951'782'400, "2000-02-29T00:00:00Z"},
                                                  {64'092'211'200, "4001-01-01T00:00:00Z"},
                                                  {-62'167'219'201, "-0001-12-31T23:59:59Z"},
                                                  {253'402'300'800, "10000-01-01T00:00:00Z"}};
  for (const auto& [seconds, iso8601] : cases) {
    const Date date{Seconds(seconds)};
    EXPECT_EQ(platform::formatIso8601(date), iso8601);
    Date read;
    EXPECT_TRUE(platform::parseIso8601(iso8601, read)) << iso8601;
    EXPECT_EQ(read, date) << iso8601;
  }
  EXPECT_EQ(platform::describe(Date(Seconds(-0.25))), "1969-12-31 23:59:59 +0000");
  for (const double extreme : {1e300, -1e300, std::nan(""), std::numeric_limits<double>::infinity()}) {
    Date read;
    EXPECT_TRUE(platform::parseIso8601(platform::formatIso8601(Date(Seconds(extreme))), read)) << extreme;
  }
}

TEST(Clock, RefusesWhatIsNoDate) {
  for (const char* text :
       {"", "2026-13-01T00:00:00Z", "2026-02-30T00:00:00Z", "2100-02-29T00:00:00Z", "2026-01-01T24:00:00Z",
        "2026-12-31T23:59:60Z", "2026-01-01T00:00:00", "2026-01-01 00:00:00Z", "02026-01-01T00:00:00Z",
        "-0000-01-01T00:00:00Z", "123456789-01-01T00:00:00Z"}) {
    Date date{Seconds(7)};
    EXPECT_FALSE(platform::parseIso8601(text, date)) << text;
    EXPECT_EQ(date, Date(Seconds(7))) << text;
  }
}

}  // namespace
