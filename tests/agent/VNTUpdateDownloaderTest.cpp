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

std::map<std::string, std::optional<std::string>> optional(
    const std::map<std::string, std::string>& variables) {
  return {variables.begin(), variables.end()};
}

class Downloader : public ::testing::Test {
 protected:
  Downloader() { zrrt::nameCurrentThread("main", false); }

  ZRResult download(VNTUpdateDownloader& used, const std::string& url = kUrl) {
    return used.download(url, destination, "VNTUpdate/7759(Mac)", streamTime, bytes);
  }

  test::Sandbox sandbox;
  staging::Server server;
  test::ScopedEnvironment environment{optional(server.environment())};
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
                      ": HTTP/1.1 302 Found, Location: https://builds.vantora.example/real.tar",
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
  EXPECT_TRUE(downloader.errorMessage().isEmpty());
  EXPECT_EQ(downloader.localPath(), "");

  EXPECT_EQ(download(downloader).code(), ZRError::eNoError);
  EXPECT_EQ(bytes, 7u);
}

TEST_F(Downloader, LogsChallenges) {
  Reply challenge = Reply::withStatus(401, "who?");
  challenge.headers["WWW-Authenticate"] = "Basic realm=\"builds\"";
  server.serve(kHost, "/build.tar", challenge);
  EXPECT_EQ(download(downloader).code(), ZRError::eNoError) << "the status is not examined";
  EXPECT_TRUE(log.contains(
      "d: ", "\n\tauthenticationMethod: NSURLAuthenticationMethodHTTPBasic\n\thost: " + std::string(kHost) +
                 "\n\tisProxy: false\n\tport: 443\n\tprotocol: https\n\trealm: builds"))
      << log.text();
}

TEST_F(Downloader, CannotStart) {
  for (const char* url : {"", "https://a b/", "https://a@b@c/"})
    EXPECT_EQ(download(downloader, url).code(), ZRError::eNoMemory) << url;

  VNTUpdateDownloader other;
  const auto running = platform::UrlDownload::start({.url = *platform::Url::parse(kUrl)}, other);
  EXPECT_EQ(download(downloader).code(), ZRError::eNoMemory) << "another download of this thread";
  EXPECT_TRUE(server.requests().empty());
}

class ManualClock : public platform::Clock {
 public:
  ManualClock() { platform::setClock(this); }
  ~ManualClock() override { platform::setClock(nullptr); }
  [[nodiscard]] platform::Date now() const override { return time; }
  platform::Date time{1000s};
};

/// Lets time pass before each event.
class TimedDownloader : public VNTUpdateDownloader {
 public:
  explicit TimedDownloader(ManualClock& clock) : _clock(clock) {}

  platform::UrlRequest willSendRequest(platform::UrlDownload& running, platform::UrlRequest request,
                                       const platform::UrlResponse* redirect) override {
    _clock.time += 1000s;
    return VNTUpdateDownloader::willSendRequest(running, std::move(request), redirect);
  }
  void didReceiveResponse(platform::UrlDownload& running, const platform::UrlResponse& response) override {
    _clock.time += 100s;
    VNTUpdateDownloader::didReceiveResponse(running, response);
  }
  void didFinish(platform::UrlDownload& running) override {
    _clock.time += 2500ms;
    VNTUpdateDownloader::didFinish(running);
  }

 private:
  ManualClock& _clock;
};

TEST_F(Downloader, TimeIsThatOfTheBody) {
  server.serve(kHost, "/build.tar", {Reply::redirect("/build.tar"), Reply::text("content")});
  ManualClock clock;
  TimedDownloader timed(clock);
  EXPECT_EQ(download(timed).code(), ZRError::eNoError);
  EXPECT_DOUBLE_EQ(streamTime, 2.5);
}

/// Reports one of the platform's errors instead of downloading.
class FailingDownloader : public VNTUpdateDownloader {
 public:
  explicit FailingDownloader(std::int64_t code) : _code(code) {}
  void didBegin(platform::UrlDownload& running) override {
    VNTUpdateDownloader::didBegin(running);
    didFail(running, {platform::kUrlErrorDomain, _code, "why"});
    message = errorMessage();
  }
  ZRString message;

 private:
  std::int64_t _code;
};

TEST_F(Downloader, EveryPlatformCodeHasItsResult) {
  const std::map<std::uint32_t, std::vector<std::int64_t>> kCodes = {
      {ZRError::eBadFormat, {-1017, -1016, -1015, -1011, -1000}},
      {ZRError::eEnd, {-1014}},
      {ZRNetworkError::eAuthError, {-1013}},
      {ZRError::eUserCanceled, {-1012, -999}},
      {ZRError::eNotFound, {-1010, -1008, -1100}},
      {ZRNetworkError::eConnectError, {-1009, -1005, -1004}},
      {ZRError::eTooMany, {-1007}},
      {ZRNetworkError::eUnknownHost, {-1006, -1003}},
      {ZRError::eNotImplemented, {-1002}},
      {ZRError::eTimeout, {-1001}},
      {ZRError::eTooLong, {-1103}},
      {ZRError::eNoAccess, {-1102}},
      {ZRError::eBadParameter, {-1101}},
      {ZRNetworkError::eSSLError, {-1200}},
      {ZRSecurityError::eCertificateExpired, {-1201}},
      {ZRSecurityError::eBadCertificate, {-1202, -1203}},
      {ZRSecurityError::eCertificateNotYetValid, {-1204}},
      {ZRSecurityError::eAuthFailed, {-1205}},
      {ZRError::eIOError, {-3005, -3004, -3003, -3002, -3001, -3000}},
      {ZRError::eSomeError, {-1, -998, -1018, -1104, -1206, -2999, -3006, 1}},
  };
  for (const auto& [expected, codes] : kCodes) {
    for (const std::int64_t code : codes) {
      FailingDownloader failing(code);
      const ZRResult result = download(failing);
      EXPECT_EQ(result.code(), expected) << code;
      EXPECT_EQ(result.message(), ZRString("Download failed with native error code " + std::to_string(code) +
                                           " and description \"why\""));
      EXPECT_EQ(failing.message, "why");
    }
  }
  EXPECT_TRUE(server.requests().empty());
}

}  // namespace
