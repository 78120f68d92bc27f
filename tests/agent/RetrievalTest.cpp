#include <gtest/gtest.h>

#include "tests/agent/StagedHome.h"

namespace {

using staging::Reply;

class RetrievalTest : public ::testing::Test, public test::StagedHome {
 protected:
  UpdateInfoRetrieval& retrieval() { return parts().retrieval; }
  static std::string at(const std::string& path) {
    return "https://" + std::string(test::kUpdateHost) + path;
  }
  static Reply redirect(const std::string& location) {
    return Reply::text(R"({"newLocation": ")" + location + "\"}");
  }
};

TEST_F(RetrievalTest, ADocumentSetsTheSchedule) {
  site.addBuild(5);
  site.publish();
  const auto info = retrieval().getUpdateInfo();
  ASSERT_TRUE(info) << log.text();
  EXPECT_TRUE(info->isParsed);
  EXPECT_EQ(info->activeBuilds.size(), 1U);
  EXPECT_LOGGED(log, "d: ", "Downloading update info from '" + at(test::kUpdatePath) + "'");
  EXPECT_LOGGED(log, "d: ", "Parsed update info: enabled = 1, minDelayInDays = 3, maxDelayInDays = 4");
  ASSERT_EQ(site.server.requests().size(), 1U);
  EXPECT_EQ(site.server.requests()[0].userAgent, "VNTUpdate/7759(Mac)");
}

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
    bool usable;
    const char* message;
  };
  constexpr const char* kUnparsed = "E: Unable to parse update info.";
  const Case cases[] = {
      {"status 500", Reply::withStatus(500, "{}"), true, "d: Parsed update info: enabled = 0"},
      {"status 404", Reply::withStatus(404, "<html>not found</html>"), false, kUnparsed},
      {"not ASCII", Reply::text("{\"newLocation\": \"\xC3\xA9\"}"), false, kUnparsed},
      {"cut text", Reply::text("[1"), false, kUnparsed},
      {"the reason", Reply::text("{\"a\":\ni: forged"), false, "E: Error returned at parseDocument"},
      {"nothing", Reply::text(""), false, "d: Unable to download from UpdateInfo URL, errorcode = 0"},
      {"cut off", Reply::text("{}").endingAfter(1, staging::Ending::cut), false,
       "d: Unable to download from UpdateInfo URL, errorcode = -1005"},
      {"a million values", Reply::text(numbers(900'000, 0)), true, "d: Parsed update info"},
      {"more values", Reply::text(numbers(1'100'000, 0)), false, "E: Error returned at parseDocument"},
      {"17 MiB", Reply::text(numbers(1, 17U << 20)), false,
       "d: Unable to download from UpdateInfo URL, errorcode = -1103"}};
  for (const Case& c : cases) {
    site.server.serve(test::kUpdateHost, test::kUpdatePath, c.reply);
    log.clear();
    EXPECT_EQ(retrieval().getUpdateInfo().has_value(), c.usable) << c.name;
    EXPECT_TRUE(log.contains(c.message)) << c.name << ": " << c.message << " in\n" << log.text();
    EXPECT_EQ(log.text().find("\ni: forged"), std::string::npos);
  }
}

TEST_F(RetrievalTest, OneRedirectIsFollowedAndRemembered) {
  site.server.serve(test::kUpdateHost, test::kUpdatePath, redirect(at("/b")));
  site.server.serve(test::kUpdateHost, "/b", {Reply::text("{}"), redirect(at("/c"))});
  EXPECT_TRUE(retrieval().getUpdateInfo()) << log.text();
  EXPECT_EQ(*preference("UpdateInfoURL"), platform::plist::Value(at("/b")));

  EXPECT_FALSE(engine().checkForUpdate());  // asks /b, is sent to /c, which is no document
  EXPECT_LOGGED(log, "E: ", "Unable to retrieve update info");
  std::filesystem::remove_all(library() + "/Preferences");
  site.server.serve(test::kUpdateHost, "/b", Reply::text("{}"));
  retrieval().setUpdateInfoURL(at(test::kUpdatePath));
  EXPECT_TRUE(retrieval().getUpdateInfo());
  EXPECT_LOGGED(log, "E: ", "Unable to save plist with new update info URL '" + at("/b") + "'.");
}

TEST_F(RetrievalTest, ASecondRedirectAborts) {
  site.server.serve(test::kUpdateHost, test::kUpdatePath, redirect(at("/b")));
  site.server.serve(test::kUpdateHost, "/b", redirect(at("/c")));
  EXPECT_FALSE(retrieval().getUpdateInfo());
  EXPECT_LOGGED(log, "W: ", "Aborting due to too many redirects.");
  EXPECT_EQ(*preference("UpdateInfoURL"), platform::plist::Value(at("/b")));
  EXPECT_EQ(site.requestedPaths(), (std::vector<std::string>{test::kUpdatePath, "/b"}));
}

TEST_F(RetrievalTest, ARedirectLeadsToTrustedServersOnly) {
  struct Case {
    const char* location;
    const char* message;
  };
  const Case cases[] = {
      {"http://x.vantora.example/c", "The url scheme 'http' is not safe. Aborting download."},
      {"https://evil.example/c", "Server 'evil.example' is not trusted. Aborting download."},
      {"https://x.vantora.example\\u0000.evil.example/c", "The url scheme '(null)' is not safe."},
      {"x", "The url scheme '(null)' is not safe. Aborting download."}};
  for (const Case& c : cases) {
    retrieval().setUpdateInfoURL(at(test::kUpdatePath));
    site.server.serve(test::kUpdateHost, test::kUpdatePath, redirect(c.location));
    log.clear();
    EXPECT_FALSE(retrieval().getUpdateInfo());
    EXPECT_LOGGED(log, "d: ", c.message);
  }
  EXPECT_FALSE(preference("UpdateInfoURL"));
  EXPECT_EQ(site.server.requests().size(), std::size(cases));
}

TEST_F(RetrievalTest, ALocalDocumentReplacesTheServer) {
  test::writeFile(tempPath() + "/config.json",
                  R"({"updaterSettings": {"enabled": false, "minDelayInDays": 1, "maxDelayInDays": 2}})");
  EXPECT_TRUE(retrieval().getUpdateInfo());
  EXPECT_LOGGED(log, "d: ", "Using local config.json file");
  EXPECT_TRUE(parts().schedule.isEnabled());
  EXPECT_TRUE(site.requestedPaths().empty());
}

}  // namespace
