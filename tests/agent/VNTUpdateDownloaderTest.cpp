#include "Code/MacOSX/VNTUpdateDownloader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Environment.h"
#include "tests/support/LogCapture.h"
#include "tools/staging/StagingServer.h"

namespace {

using namespace std::chrono_literals;
using staging::Ending;
using staging::Reply;
using ::testing::ElementsAre;

constexpr const char* kHost = "downloads.vantora-storage.example";
constexpr const char* kUrl = "https://downloads.vantora-storage.example/build.tar";

class Downloader : public ::testing::Test {
 protected:
  Downloader() { zrrt::nameCurrentThread("main", false); }

  ZRResult download(VNTUpdateDownloader& used, const std::string& url = kUrl) {
    return used.download(url, destination, "VNTUpdate/7759(Mac)", streamTime, bytes);
  }

  test::Sandbox sandbox;
  staging::Server server;
  const test::ScopedEnvironment environment = test::ScopedEnvironment::with(server.environment());
  test::TemporaryFolder folder;
  std::string destination = folder / "VNT_Mac_x86_b7755";
  test::LogCapture log;
  VNTUpdateDownloader downloader;
  double streamTime = -1;
  std::uint64_t bytes = 1;
};

TEST_F(Downloader, StoresWhatTheServerSends) {
  server.serve(kHost, "/build.tar", Reply::redirect("https://builds.vantora.example/real.tar"));
  server.serve("builds.vantora.example", "/real.tar", Reply::text("content"));
  test::writeFile(destination, "old");
  EXPECT_EQ(download(downloader).code(), ZRError::eNoError);
  EXPECT_EQ(test::readFile(destination), "content");
  EXPECT_EQ(bytes, 7u);
  EXPECT_THAT(
      log.lines(),
      ElementsAre("d: <main> Downloading '" + std::string(kUrl) + "' to '" + destination + "'",
                  "d: <main> Download has begun...",
                  "d: <main> " + std::string(kUrl) +
                      ": HTTP status 302, Location: https://builds.vantora.example/real.tar",
                  "d: <main> Sending request for 'https://builds.vantora.example/real.tar'",
                  "d: <main> \n\texpectedContentLength: 7\n\tsuggestedFilename:     real.tar"
                  "\n\tMIMEType:              text/plain\n\ttextEncodingName:      utf-8"
                  "\n\tURL:                   https://builds.vantora.example/real.tar",
                  "d: <main> Created destination: '" + destination + "'", "d: <main> Downloader finished."));
  for (const staging::Request& request : server.requests()) {
    EXPECT_EQ(request.userAgent, "VNTUpdate/7759(Mac)");
    EXPECT_EQ(request.headers.at("cache-control"), "no-cache");
  }
}

TEST_F(Downloader, MayBeUsedAgainAfterAFailure) {
  server.serve(
      kHost, "/build.tar",
      {Reply::text("content").endingAfter(3, Ending::closed), Reply::text(""), Reply::text("content")});
  const ZRResult lost = download(downloader);
  EXPECT_EQ(lost.code(), ZRNetworkError::eConnectError);
  EXPECT_TRUE(lost.message().startsWith("Download failed with native error code -1005 and description \""))
      << lost.message().c_str();
  EXPECT_TRUE(
      log.contains("E: ", "Download error: domain: NSURLErrorDomain, error code: -1005, description: "))
      << log.text();
  EXPECT_EQ(bytes, 3u);
  EXPECT_EQ(streamTime, 0);
  EXPECT_FALSE(test::exists(destination));
  EXPECT_EQ(download(downloader).code(), ZRError::eEnd) << "a body of no bytes";
  EXPECT_FALSE(downloader.error().failed());
  EXPECT_EQ(downloader.localPath(), "");

  EXPECT_EQ(download(downloader).code(), ZRError::eNoError);
  EXPECT_EQ(bytes, 7u);
}

TEST_F(Downloader, NoArchiveIsLongerThanFourGigabytes) {
  Reply announced = Reply::text("content").endingAfter(7, Ending::stalled);
  announced.announcedLength = (std::uint64_t{4} << 30) + 1;
  server.serve(kHost, "/build.tar", announced);
  EXPECT_EQ(download(downloader).code(), ZRError::eTooLong);
}

TEST_F(Downloader, CannotStart) {
  for (const char* url : {"", "https://a b/", "https://a@b@c/"})
    EXPECT_EQ(download(downloader, url).code(), ZRError::eNoMemory) << url;

  VNTUpdateDownloader other;
  const auto running = platform::UrlDownload::start({.url = *platform::Url::parse(kUrl)}, other);
  EXPECT_EQ(download(downloader).code(), ZRError::eNoMemory) << "another download of this thread";
  EXPECT_TRUE(server.requests().empty());
}

/// Lets time pass before each event.
class TimedDownloader : public VNTUpdateDownloader, private platform::Clock {
 public:
  TimedDownloader() { platform::setClock(this); }
  ~TimedDownloader() override { platform::setClock(nullptr); }

  platform::UrlRequest willSendRequest(platform::UrlDownload& running, platform::UrlRequest request,
                                       const platform::UrlResponse* redirect) override {
    _time += 1000s;
    return VNTUpdateDownloader::willSendRequest(running, std::move(request), redirect);
  }
  void didReceiveResponse(platform::UrlDownload& running, const platform::UrlResponse& response) override {
    _time += 100s;
    VNTUpdateDownloader::didReceiveResponse(running, response);
  }
  void didFinish(platform::UrlDownload& running) override {
    _time += 2500ms;
    VNTUpdateDownloader::didFinish(running);
  }

 private:
  [[nodiscard]] platform::Date now() const override { return _time; }
  platform::Date _time{1000s};
};

TEST_F(Downloader, TimeIsThatOfTheBody) {
  server.serve(kHost, "/build.tar", {Reply::redirect("/build.tar"), Reply::text("content")});
  TimedDownloader timed;
  EXPECT_EQ(download(timed).code(), ZRError::eNoError);
  EXPECT_DOUBLE_EQ(streamTime, 2.5);
}

/// Reports one of the platform's errors instead of downloading.
class FailingDownloader : public VNTUpdateDownloader {
 public:
  explicit FailingDownloader(std::int64_t code) : _code(code) {}
  void didBegin(platform::UrlDownload& running) override {
    didFail(running, {platform::kUrlErrorDomain, _code, "why"});
  }

 private:
  std::int64_t _code;
};

TEST_F(Downloader, PlatformCodesHaveTheirResults) {
  const std::pair<std::int64_t, std::uint32_t> kCodes[] = {
      {-1012, ZRError::eUserCanceled},
      {-1003, ZRNetworkError::eUnknownHost},
      {-1202, ZRSecurityError::eBadCertificate},
      {-1205, ZRSecurityError::eAuthFailed},
      {-1206, ZRError::eSomeError},
      {-3005, ZRError::eIOError},
  };
  for (const auto& [code, expected] : kCodes) {
    FailingDownloader failing(code);
    const ZRResult result = download(failing);
    EXPECT_EQ(result.code(), expected) << code;
    EXPECT_EQ(result.message(), ZRString("Download failed with native error code " + std::to_string(code) +
                                         " and description \"why\""));
  }
}

}  // namespace
