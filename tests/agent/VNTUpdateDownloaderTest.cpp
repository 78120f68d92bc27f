#include "Code/MacOSX/VNTUpdateDownloader.h"

#include <gtest/gtest.h>

#include "tests/agent/StagedHome.h"
#include "tests/support/ResultMatchers.h"

namespace {

using namespace std::chrono_literals;
using staging::Ending;
using staging::Reply;
using test::kBuildHost;

class Downloader : public ::testing::Test, public test::StagedHome {
 protected:
  ZRResult download(const std::string& address) {
    return downloader.download(address, destination, settings.userAgent, streamTime, bytes);
  }

  const std::string url = test::MakerSite::url("build.tar");
  const std::string destination = tempPath() + "/VNT_Mac_x86_b7755";
  VNTUpdateDownloader downloader;
  double streamTime = -1;
  std::uint64_t bytes = 1;
};

TEST_F(Downloader, StoresWhatTheServerSends) {
  site.server.serve(kBuildHost, "/build.tar", Reply::redirect("https://builds.vantora.example/real.tar"));
  site.server.serve("builds.vantora.example", "/real.tar", Reply::text("content").trickling(20ms));
  test::writeFile(destination, "old");
  EXPECT_CODE(download(url), ZRError::eNoError);
  EXPECT_EQ(test::readFile(destination), "content");
  EXPECT_EQ(bytes, 7u);
  EXPECT_GT(streamTime, 0.1);
  EXPECT_LOGGED(log, "d: ", "/build.tar: HTTP status 302, Location: https://builds.vantora.example/real.tar");
  EXPECT_LOGGED(log, "d: ", "Sending request for 'https://builds.vantora.example/real.tar'");
  for (const staging::Request& request : site.server.requests())
    EXPECT_EQ(request.headers.at("cache-control"), "no-cache");
}

TEST_F(Downloader, MayBeUsedAgainAfterAFailure) {
  Reply announced = Reply::text("content").endingAfter(7, Ending::stalled);
  announced.announcedLength = (std::uint64_t{4} << 30) + 1;
  const Reply content = Reply::text("content");
  site.server.serve(kBuildHost, "/build.tar",
                    {content.endingAfter(3, Ending::closed), Reply::text(""), announced, content});
  EXPECT_CODE(download(url), ZRNetworkError::eConnectError);
  EXPECT_LOGGED(log, "E: ", "Download error: domain: NSURLErrorDomain, error code: -1005, description: ");
  EXPECT_EQ(bytes, 3u);
  EXPECT_FALSE(test::exists(destination));
  EXPECT_CODE(download(url), ZRError::eEnd) << "a body of no bytes";
  EXPECT_CODE(download(url), ZRError::eTooLong) << "more than four gigabytes";
  EXPECT_CODE(download(url), ZRError::eNoError);
  EXPECT_EQ(bytes, 7u);
}

TEST_F(Downloader, CannotStart) {
  for (const char* address : {"", "https://a b/", "https://a@b@c/"})
    EXPECT_CODE(download(address), ZRError::eNoMemory) << address;
  VNTUpdateDownloader other;
  const auto running = platform::UrlDownload::start({.url = *platform::Url::parse(url)}, other);
  EXPECT_CODE(download(url), ZRError::eNoMemory) << "another download of this thread";
  EXPECT_TRUE(site.server.requests().empty());
}

}  // namespace
