#include "Code/MacOSX/VNTUpdateDownloader.h"

#include <gtest/gtest.h>

#include "tests/support/Environment.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ResultMatchers.h"
#include "tools/staging/StagingServer.h"

namespace {

using namespace std::chrono_literals;
using staging::Ending;
using staging::Reply;

constexpr const char* kHost = "downloads.vantora-storage.example";
constexpr const char* kUrl = "https://downloads.vantora-storage.example/build.tar";

class Downloader : public ::testing::Test {
 protected:
  ZRResult download(VNTUpdateDownloader& used, const std::string& url = kUrl) {
    return used.download(url, destination, "VNTUpdate/7759(Mac)", streamTime, bytes);
  }

  test::Sandbox sandbox;
  staging::Server server;
  const test::ScopedEnvironment environment = test::ScopedEnvironment::with(server.environment());
  std::string destination = sandbox.home() + "/VNT_Mac_x86_b7755";
  test::LogCapture log;
  VNTUpdateDownloader downloader;
  double streamTime = -1;
  std::uint64_t bytes = 1;
};

TEST_F(Downloader, StoresWhatTheServerSends) {
  server.serve(kHost, "/build.tar", Reply::redirect("https://builds.vantora.example/real.tar"));
  server.serve("builds.vantora.example", "/real.tar", Reply::text("content").trickling(20ms));
  test::writeFile(destination, "old");
  EXPECT_CODE(download(downloader), ZRError::eNoError);
  EXPECT_EQ(test::readFile(destination), "content");
  EXPECT_EQ(bytes, 7u);
  EXPECT_GT(streamTime, 0.1);
  EXPECT_LOGGED(log, "d: ", "/build.tar: HTTP status 302, Location: https://builds.vantora.example/real.tar");
  EXPECT_LOGGED(log, "d: ", "Sending request for 'https://builds.vantora.example/real.tar'");
  for (const staging::Request& request : server.requests()) {
    EXPECT_EQ(request.userAgent, "VNTUpdate/7759(Mac)");
    EXPECT_EQ(request.headers.at("cache-control"), "no-cache");
  }
}

TEST_F(Downloader, MayBeUsedAgainAfterAFailure) {
  server.serve(
      kHost, "/build.tar",
      {Reply::text("content").endingAfter(3, Ending::closed), Reply::text(""), Reply::text("content")});
  EXPECT_CODE(download(downloader), ZRNetworkError::eConnectError);
  EXPECT_LOGGED(log, "E: ", "Download error: domain: NSURLErrorDomain, error code: -1005, description: ");
  EXPECT_EQ(bytes, 3u);
  EXPECT_FALSE(test::exists(destination));
  EXPECT_CODE(download(downloader), ZRError::eEnd) << "a body of no bytes";
  EXPECT_CODE(download(downloader), ZRError::eNoError);
  EXPECT_EQ(bytes, 7u);
}

TEST_F(Downloader, NoArchiveIsLongerThanFourGigabytes) {
  Reply announced = Reply::text("content").endingAfter(7, Ending::stalled);
  announced.announcedLength = (std::uint64_t{4} << 30) + 1;
  server.serve(kHost, "/build.tar", announced);
  EXPECT_CODE(download(downloader), ZRError::eTooLong);
}

TEST_F(Downloader, CannotStart) {
  for (const char* url : {"", "https://a b/", "https://a@b@c/"})
    EXPECT_CODE(download(downloader, url), ZRError::eNoMemory) << url;
  VNTUpdateDownloader other;
  const auto running = platform::UrlDownload::start({.url = *platform::Url::parse(kUrl)}, other);
  EXPECT_CODE(download(downloader), ZRError::eNoMemory) << "another download of this thread";
  EXPECT_TRUE(server.requests().empty());
}

}  // namespace
