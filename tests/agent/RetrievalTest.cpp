#include <gtest/gtest.h>

#include "Code/MacOSX/VNTUpdate/DownloadGuard.h"
#include "tests/agent/StagedHome.h"

namespace {

using staging::Reply;

class RetrievalTest : public ::testing::Test, public test::StagedHome {
 protected:
  UpdateInfoRetrieval& retrieval() { return engine().retrieval(); }
  static std::string at(const std::string& path) {
    return "https://" + std::string(test::kUpdateHost) + path;
  }
};

TEST_F(RetrievalTest, ADocumentSetsTheSchedule) {
  site.publish();
  EXPECT_TRUE(retrieval().getUpdateInfo()) << log.text();
  EXPECT_TRUE(engine().updateInfoParser().isParsed);
  EXPECT_TRUE(log.contains("d: ", "Downloading update info from '" + at(test::kUpdatePath) + "'"));
  EXPECT_TRUE(log.contains("d: ", "Parsed update info: enabled = 1, minDelayInDays = 3, maxDelayInDays = 4"));
  ASSERT_EQ(site.server.requests().size(), 1U);
  EXPECT_EQ(site.server.requests()[0].userAgent, "VNTUpdate/7759(Mac)");
}

TEST_F(RetrievalTest, WhatArrivesIsJudgedByItsText) {
  struct Case {
    Reply reply;
    bool usable;
    const char* message;
  };
  const Case cases[] = {
      {Reply::withStatus(500, "{}"), true, "d: Parsed update info: enabled = 0"},
      {Reply::withStatus(404, "<html>not found</html>"), false, "E: Unable to parse update info."},
      {Reply::text("{\"newLocation\": \"\xC3\xA9\"}"), false, "E: Unable to parse update info."},
      {Reply::text("[1"), false, "E: Unable to parse update info."},
      {Reply::text(""), false, "d: Unable to download from UpdateInfo URL, errorcode = 0"},
      {Reply::text("{}").endingAfter(1, staging::Ending::cut), false,
       "d: Unable to download from UpdateInfo URL, errorcode = -1005"}};
  for (const Case& c : cases) {
    site.server.serve(test::kUpdateHost, test::kUpdatePath, c.reply);
    log.clear();
    EXPECT_EQ(retrieval().getUpdateInfo(), c.usable);
    const std::string message(c.message);
    EXPECT_TRUE(log.contains(message.substr(0, 3), message.substr(3))) << message << " in\n" << log.text();
  }
}

TEST_F(RetrievalTest, OneRedirectIsFollowedAndRemembered) {
  site.server.serve(test::kUpdateHost, test::kUpdatePath,
                    Reply::text("{\"newLocation\": \"" + at("/b") + "\"}"));
  site.server.serve(test::kUpdateHost, "/b", Reply::text("{}"));
  EXPECT_TRUE(retrieval().getUpdateInfo()) << log.text();
  EXPECT_EQ(*preference("UpdateInfoURL"), platform::plist::Value(at("/b")));
}

TEST_F(RetrievalTest, ASecondRedirectAborts) {
  site.server.serve(test::kUpdateHost, test::kUpdatePath,
                    Reply::text("{\"newLocation\": \"" + at("/b") + "\"}"));
  site.server.serve(test::kUpdateHost, "/b", Reply::text("{\"newLocation\": \"" + at("/c") + "\"}"));
  EXPECT_FALSE(engine().checkForUpdate());
  EXPECT_TRUE(log.contains("W: ", "Aborting due to too many redirects.")) << log.text();
  EXPECT_TRUE(log.contains("E: ", "Unable to retrieve update info"));
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
      {"x", "The url scheme '(null)' is not safe. Aborting download."}};
  for (const Case& c : cases) {
    retrieval().setUpdateInfoURL(at(test::kUpdatePath));
    site.server.serve(test::kUpdateHost, test::kUpdatePath,
                      Reply::text(std::string("{\"newLocation\": \"") + c.location + "\"}"));
    EXPECT_FALSE(retrieval().getUpdateInfo());
    EXPECT_TRUE(log.contains("d: ", c.message)) << log.text();
  }
  EXPECT_FALSE(preference("UpdateInfoURL"));
}

TEST_F(RetrievalTest, AFailedSaveOfTheRedirectIsLoggedOnly) {
  site.server.serve(test::kUpdateHost, test::kUpdatePath,
                    Reply::text("{\"newLocation\": \"" + at("/b") + "\"}"));
  site.server.serve(test::kUpdateHost, "/b", Reply::text("{}"));
  static_cast<void>(engine());
  std::filesystem::remove_all(library() + "/Preferences");
  EXPECT_TRUE(retrieval().getUpdateInfo());
  EXPECT_TRUE(log.contains("E: ", "Unable to save plist with new update info URL '" + at("/b") + "'."))
      << log.text();
}

TEST_F(RetrievalTest, ALocalDocumentReplacesTheServer) {
  test::writeFile(tempPath() + "/config.json",
                  R"({"updaterSettings": {"enabled": false, "minDelayInDays": 1, "maxDelayInDays": 2}})");
  EXPECT_TRUE(retrieval().getUpdateInfo());
  EXPECT_TRUE(log.contains("d: ", "Using local config.json file"));
  EXPECT_TRUE(engine().schedule().isEnabled());
  EXPECT_TRUE(site.requestedPaths().empty());
}

TEST_F(RetrievalTest, PublishedDigestTexts) {
  const std::string digest(32, 'a');
  struct Case {
    std::string body;
    std::optional<std::string> text;
  };
  const Case cases[] = {{digest, digest},   {digest + "\n", digest}, {" \r\n" + digest + " \n", digest},
                        {" aa\n", " aa\n"}, {"", std::nullopt},      {digest + "\xFF", std::nullopt}};
  for (const Case& c : cases) {
    site.server.serve(test::kBuildHost, "/x.md5", Reply::text(c.body));
    EXPECT_EQ(engine().archiveDownload().downloadChecksumFromUrl(test::MakerSite::url("x.md5")), c.text)
        << c.body;
  }
  EXPECT_TRUE(log.contains("d: ", "Received MD5 checksum: " + digest + ", length = 32"));
  EXPECT_TRUE(log.contains("E: ", "Unable to download MD5 data, errorcode = 0")) << log.text();
}

TEST_F(RetrievalTest, ArchivesComeFromTrustedServersOnly) {
  EXPECT_TRUE(mayDownloadFrom("HTTPS://A.VANTORA.EXAMPLE:8443/x"));
  EXPECT_FALSE(mayDownloadFrom("http://a.vantora.example/x"));
  EXPECT_TRUE(log.contains("E: ", "The url scheme 'http' is not safe. Aborting the download."));
  EXPECT_FALSE(mayDownloadFrom("https://a.vantora.example.evil.example/x"));
  EXPECT_TRUE(
      log.contains("E: ", "Server 'a.vantora.example.evil.example' is not trusted. Aborting the download."));
  EXPECT_FALSE(mayDownloadFrom("https://evil.example\\.vantora.example/x"));
  EXPECT_FALSE(mayDownloadFrom("https:///x"));
}

TEST_F(RetrievalTest, ReplacementFolders) {
  const auto url = engine().replacementUrlForDestination(applications() + "/Vantora.app");
  ASSERT_TRUE(url);
  EXPECT_TRUE(test::exists(url->path()));
  EXPECT_FALSE(engine().replacementUrlForDestination("/missing/folder/Vantora.app"));
  EXPECT_TRUE(log.contains("E: ", "Error creating temporary directory: ")) << log.text();
}

}  // namespace
