#include <gtest/gtest.h>

#include "tests/agent/StagedHome.h"

namespace {

using staging::Reply;
using test::kUpdateHost;
using test::kUpdatePath;

class RetrievalTest : public ::testing::Test, public test::StagedHome {
 protected:
  UpdateInfoRetrieval& retrieval() { return parts().retrieval; }
  static std::string at(const std::string& path) { return "https://" + std::string(kUpdateHost) + path; }
  static Reply redirect(const std::string& location) {
    return Reply::text(R"({"newLocation": ")" + location + "\"}");
  }
};

/// So many values, and so many blanks.
std::string numbers(std::size_t count, std::size_t blanks) {
  std::string text = "{\"x\":[0";
  for (std::size_t i = 1; i < count; ++i)
    text += ",0";
  return text + std::string(blanks, ' ') + "]}";
}

TEST_F(RetrievalTest, WhatArrivesIsJudgedByItsText) {
  struct Case {
    const char* name;
    Reply reply;
    const char* message;  ///< with its level
  };
  constexpr const char* kUsed = "d: Parsed update info: enabled = 0";
  constexpr const char* kUnparsed = "E: Unable to parse update info.";
  const Case cases[] = {
      {"status 500", Reply::withStatus(500, "{}"), kUsed},
      {"not ASCII", Reply::text("{\"newLocation\": \"\xC3\xA9\"}"), kUnparsed},
      {"a line for the log", Reply::text("{\"a\":\ni: forged"), "E: Error returned at parseDocument"},
      {"nothing", Reply::text(""), "d: Unable to download from UpdateInfo URL, errorcode = 0"},
      {"cut off", Reply::text("{}").endingAfter(1, staging::Ending::cut),
       "d: Unable to download from UpdateInfo URL, errorcode = -1005"},
      {"a million values", Reply::text(numbers(900'000, 0)), kUsed},
      {"more values", Reply::text(numbers(1'100'000, 0)), "E: Error returned at parseDocument"},
      {"17 MiB", Reply::text(numbers(1, 17U << 20)),
       "d: Unable to download from UpdateInfo URL, errorcode = -1103"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    site.server.serve(kUpdateHost, kUpdatePath, c.reply);
    log.clear();
    EXPECT_EQ(retrieval().getUpdateInfo().has_value(), c.message == kUsed);
    EXPECT_LOGGED(log, std::string(c.message, 3), c.message + 3);
    EXPECT_NOT_LOGGED(log, "", "\ni: forged");
  }
}

TEST_F(RetrievalTest, OneRedirectIsFollowedAndRemembered) {
  site.server.serve(kUpdateHost, kUpdatePath, redirect(at("/b")));
  site.server.serve(kUpdateHost, "/b", {Reply::text("{}"), redirect(at("/c"))});
  EXPECT_TRUE(retrieval().getUpdateInfo()) << log.text();
  EXPECT_EQ(*preference("UpdateInfoURL"), platform::plist::Value(at("/b")));

  retrieval().setUpdateInfoURL(at(kUpdatePath));
  EXPECT_FALSE(retrieval().getUpdateInfo());
  EXPECT_LOGGED(log, "W: ", "Aborting due to too many redirects.");
  EXPECT_EQ(site.requestedPaths(), (test::Names{kUpdatePath, "/b", kUpdatePath, "/b"}));
}

TEST_F(RetrievalTest, ARedirectLeadsToTrustedServersOnly) {
  const std::pair<const char*, const char*> kLocations[] = {
      {"http://x.vantora.example/c", "The url scheme 'http' is not safe. Aborting download."},
      {"https://evil.example/c", "Server 'evil.example' is not trusted. Aborting download."},
      {"https://x.vantora.example\\u0000.evil.example/c", "The url scheme '(null)' is not safe."}};
  for (const auto& [location, message] : kLocations) {
    retrieval().setUpdateInfoURL(at(kUpdatePath));
    site.server.serve(kUpdateHost, kUpdatePath, redirect(location));
    EXPECT_FALSE(retrieval().getUpdateInfo());
    EXPECT_LOGGED(log, "d: ", message);
  }
  EXPECT_FALSE(preference("UpdateInfoURL"));
  EXPECT_EQ(site.server.requests().size(), std::size(kLocations));
}

TEST_F(RetrievalTest, ALocalDocumentReplacesTheServer) {
  test::writeFile(tempPath() + "/config.json",
                  R"({"updaterSettings": {"enabled": false, "minDelayInDays": 1, "maxDelayInDays": 2}})");
  EXPECT_TRUE(retrieval().getUpdateInfo());
  EXPECT_LOGGED(log, "d: ", "Using local config.json file");
  EXPECT_TRUE(parts().schedule.isEnabled()) << "it does not set the schedule";
  EXPECT_TRUE(site.requestedPaths().empty());
}

}  // namespace
