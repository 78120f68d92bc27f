#include "platform/UrlLoading.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/RunLoop.h"
#include "tests/support/Environment.h"
#include "tests/support/FileSizeLimit.h"
#include "tools/staging/StagingServer.h"
#include "tools/support/Listener.h"

namespace {

using namespace std::chrono_literals;
using platform::Error;
using platform::UrlErrorCode;
using enum platform::UrlErrorCode;
using staging::Certificate;
using staging::Ending;
using staging::Handshake;
using staging::Reply;
using ::testing::ElementsAre;
using ::testing::StartsWith;

constexpr const char* kHost = "good.example";

const std::vector<staging::Host> kHosts = {
    {.name = kHost},
    {.name = "other.example"},
    {.name = "localhost"},
    {.name = "expired.example", .certificate = Certificate::expired},
    {.name = "early.example", .certificate = Certificate::notYetValid},
    {.name = "unknown.example", .certificate = Certificate::unknownIssuer},
    {.name = "wrong.example", .certificate = Certificate::wrongHost},
    {.name = "refused.example", .handshake = Handshake::refused},
    {.name = "reset.example", .handshake = Handshake::reset},
    {.name = "stalled.example", .handshake = Handshake::stalled},
    {.name = "plain.example", .handshake = Handshake::plainText},
    {.name = "wanted.example", .handshake = Handshake::certificateWanted},
    {.name = "wanted12.example", .handshake = Handshake::certificateWantedByTls12},
    {.name = "certificate.example", .handshake = Handshake::certificateRefused},
    {.name = "proxy.example", .handshake = Handshake::challenged},
};

std::string url(const std::string& path, const std::string& host = kHost) {
  return "https://" + host + path;
}

std::int64_t number(UrlErrorCode code) {
  return static_cast<std::int64_t>(code);
}

/// Writes down what it is told.
class Recorder : public platform::UrlDownloadDelegate {
 public:
  using Download = platform::UrlDownload;

  void didBegin(Download&) override { events.emplace_back("begin"); }
  platform::UrlRequest willSendRequest(Download&, platform::UrlRequest sent,
                                       const platform::UrlResponse* redirect) override {
    const std::string cause = redirect != nullptr ? " after " + std::to_string(redirect->statusCode) : "";
    events.push_back("send " + sent.url.absoluteString() + cause);
    return sent;
  }
  bool canAuthenticateAgainst(Download&, const platform::ProtectionSpace& asked) override {
    events.emplace_back("challenge");
    space = asked;
    return true;
  }
  void didCancelAuthenticationChallenge(Download&) override { events.emplace_back("cancel"); }
  bool shouldUseCredentialStorage(Download&) override { return true; }
  void didReceiveResponse(Download&, const platform::UrlResponse& received) override {
    events.push_back("response " + std::to_string(received.statusCode));
  }
  void decideDestination(Download&, const std::string& name) override { events.push_back("name " + name); }
  void didCreateDestination(Download&, const std::string&) override {
    events.emplace_back("created");
    if (onCreated) onCreated();
  }
  bool shouldDecodeSourceData(Download&, const std::string&) override { return false; }
  void didReceiveData(Download&, std::uint64_t count) override {
    if (bytes == 0) events.emplace_back("data");
    bytes += count;
  }
  void didFinish(Download&) override { end("finish", {}); }
  void didFail(Download&, const Error& failure) override { end("fail", failure); }

  std::vector<std::string> events;
  std::uint64_t bytes = 0;
  int ends = 0;
  Error error;
  platform::ProtectionSpace space;
  std::function<void()> onCreated;

 private:
  void end(const char* event, const Error& failure) {
    events.emplace_back(event);
    error = failure;
    ++ends;
  }
};

class UrlLoading : public ::testing::Test {
 protected:
  platform::UrlRequest request(const std::string& text) {
    return {.url = platform::Url::parse(text).value(),
            .idleTimeout = idleTimeout,
            .timeLimit = timeLimit,
            .sizeLimitBytes = sizeLimit};
  }

  /// Downloads to `destination` until the end, which comes exactly once. Answers the code, 0 for success.
  std::int64_t download(const std::string& text, bool overwrite = true) {
    recorder.events.clear();
    recorder.bytes = 0;
    recorder.ends = 0;
    const auto running = platform::UrlDownload::start(request(text), recorder);
    running->setDestination(destination, overwrite);
    running->setDeletesFileUponFailure(true);
    while (platform::runLoopOnce(platform::distantFuture())) {
    }
    EXPECT_EQ(recorder.ends, 1);
    EXPECT_EQ(recorder.error.failed(), recorder.error.domain == platform::kUrlErrorDomain);
    return recorder.error.code;
  }

  std::int64_t fetch(const std::string& text, std::uint64_t limitBytes = 1000) {
    return platform::sendSynchronousRequest(request(text), limitBytes, response, body).code;
  }

  /// The files in the folder of the destination.
  std::vector<std::string> files() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
      names.push_back(entry.path().filename().string());
    return names;
  }

  /// A stall is waited for; anything else must not be mistaken for one on a busy machine.
  void expectCode(UrlErrorCode code) { idleTimeout = code == timedOut ? 1s : 30s; }

  test::Sandbox sandbox;
  std::chrono::seconds idleTimeout{30};
  std::chrono::seconds timeLimit{100};
  std::uint64_t sizeLimit = 1'000'000;
  staging::Server server{{.hosts = kHosts}};
  test::ScopedEnvironment environment = test::ScopedEnvironment::with(server.environment());
  test::TemporaryFolder folder;
  std::string destination = folder / "file";
  Recorder recorder;
  platform::UrlResponse response{.url = platform::Url::parse("none:").value()};
  std::string body = "left over";
};

TEST_F(UrlLoading, EachFaultReachesItsOwnCode) {
  struct Case {
    const char* name;
    Reply reply;
    UrlErrorCode code;
  };
  Reply announced = Reply::text("x");
  announced.announcedLength = 1'000'001;
  const Reply large = Reply::text(std::string(100'000, 'x'));
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  const Case kCases[] = {
      {"another protocol", Reply::bytes("HTTP/1.1 101 Switch\r\n\r\nbody"), badServerResponse},
      {"a long body that is announced", announced.endingAfter(0, Ending::stalled), dataLengthExceedsMaximum},
      {"a long body that is not", Reply::bytes(ok + "\r\n" + std::string(1'000'001, 'x')),
       dataLengthExceedsMaximum},
      {"bad chunk", Reply::badChunk(), badServerResponse},
      {"huge head", Reply::bytes(ok + "X: " + std::string(200'000, 'x') + "\r\n\r\n"), badServerResponse},
      {"no answer", Reply::bytes(""), networkConnectionLost},
      {"closed in the head", Reply::bytes(ok + "Content-Le"), networkConnectionLost},
      {"cut in the body", large.endingAfter(50'000, Ending::cut), networkConnectionLost},
      {"stalled in the body", large.endingAfter(50'000, Ending::stalled), timedOut},
      {"redirect loop", Reply::redirect("/x"), tooManyRedirects},
      {"redirect to a bad URL", Reply::redirect("https://a@b@c/"), badUrl},
      {"redirect to a file", Reply::redirect("file:///etc/passwd"), unsupportedUrl},
      {"redirect to a confusing host", Reply::redirect("https://127.1/"), badUrl},
  };
  for (const Case& row : kCases) {
    SCOPED_TRACE(row.name);
    expectCode(row.code);
    server.serve(kHost, "/x", row.reply);
    EXPECT_EQ(download(url("/x")), number(row.code)) << recorder.error.description;
    EXPECT_EQ(files(), std::vector<std::string>());
    EXPECT_EQ(fetch(url("/x"), 1'000'000), number(row.code));
    EXPECT_EQ(body, "");
  }
}

TEST_F(UrlLoading, NoConnectionReachesItsOwnCode) {
  const std::string nameless = std::string(64, 'a') + ".invalid";  // no name server is asked for it
  struct Case {
    std::string url;
    UrlErrorCode code;
    std::map<std::string, std::optional<std::string>> variables = {};
  };
  const Case kCases[] = {
      {url("/", "expired.example"), certificateHasBadDate},
      {url("/", "early.example"), certificateNotYetValid},
      {url("/", "unknown.example"), certificateHasUnknownRoot},
      {url("/"), certificateHasUnknownRoot, {{"SSL_CERT_FILE", std::nullopt}}},
      {url("/", "wrong.example"), certificateUntrusted},
      {url("/", "plain.example"), secureConnectionFailed},
      {url("/", "wanted.example"), clientCertificateRequired},
      {url("/", "wanted12.example"), clientCertificateRequired},
      {url("/", "certificate.example"), clientCertificateRejected},
      {url("/", "reset.example"), secureConnectionFailed},
      {url("/", "stalled.example"), timedOut},
      {url("/", "refused.example"), cannotConnectToHost},
      {url("/"), cannotConnectToHost, {{"https_proxy", "http://127.0.0.1:1"}}},
      {url("/", nameless), cannotFindHost, {{"no_proxy", "*"}}},
      {"ftp://good.example/", unsupportedUrl},
      {"https:///x", badUrl},
      {"https://2130706433/", badUrl},      // the network library reads 127.0.0.1
      {"https://%67ood.example/", badUrl},  // and here "good.example"
  };
  for (const Case& row : kCases) {
    SCOPED_TRACE(row.url);
    expectCode(row.code);
    const test::ScopedEnvironment changes(row.variables);
    EXPECT_EQ(download(row.url), number(row.code)) << recorder.error.description;
    EXPECT_EQ(fetch(row.url), number(row.code));
  }
  EXPECT_TRUE(server.requests().empty());
}

TEST_F(UrlLoading, AWholeDownload) {
  const std::string content(300'000, 'c');
  Reply reply = Reply::text(content);
  reply.headers["Content-Disposition"] = "attachment; filename=\"../up/a\\\"b;c.tar\"";
  server.serve("other.example", "/to", reply);
  server.serve(kHost, "/from", Reply::redirect("https://other.example/to", 301));
  server.serve(kHost, "/aside", Reply::text("x"));
  test::writeFile(destination, "old");
  server.expect({{kHost, "/from"}, {"other.example", "/to"}, {kHost, "/aside"}});

  recorder.onCreated = [this] { EXPECT_EQ(fetch(url("/aside")), 0) << "a request within a download"; };
  EXPECT_EQ(download(url("/from")), 0);
  EXPECT_THAT(recorder.events, ElementsAre("begin", "send https://good.example/from",
                                           "send https://other.example/to after 301", "response 200",
                                           "name a\"b;c.tar", "created", "data", "finish"));
  EXPECT_EQ(test::readFile(destination), content);
  EXPECT_THAT(files(), ElementsAre("file"));
  EXPECT_TRUE(server.unexpectedRequests().empty());
}

TEST_F(UrlLoading, TwentyRedirectsAreFollowed) {
  for (int i = 0; i < 20; ++i)
    server.serve(kHost, '/' + std::to_string(i), Reply::redirect(std::to_string(i + 1) + "?a b\xC3\xBC"));
  server.serve(kHost, "/20", Reply::text("end"));
  EXPECT_EQ(fetch(url("/0")), 0);
  EXPECT_EQ(response.url.absoluteString(), url("/20?a%20b%C3%BC"));
}

TEST_F(UrlLoading, OneConnectionServesAllRequestsToAHost) {
  const std::string direct = "localhost:" + std::to_string(server.port());
  for (const std::string& host : {std::string(kHost), direct}) {
    SCOPED_TRACE(host);
    const test::ScopedEnvironment proxies = test::ScopedEnvironment::with({{"no_proxy", "localhost"}});
    const std::string name = host.substr(0, host.find(':'));
    server.serve(name, "/info", Reply::text("info"));
    Reply moved = Reply::redirect("/archive");
    moved.body = "<html>Moved</html>";
    server.serve(name, "/moved", moved);
    server.serve(name, "/archive", Reply::text("archive"));
    const std::size_t before = server.connections();
    EXPECT_EQ(fetch(url("/info", host)), 0);
    EXPECT_EQ(download(url("/moved", host)), 0);
    EXPECT_EQ(download(url("/archive", host)), 0);
    EXPECT_EQ(test::readFile(destination), "archive");
    EXPECT_EQ(server.connections(), before + 1);
  }
}

TEST_F(UrlLoading, AConnectionThatTheServerHasClosedIsMadeAgain) {
  for (const Ending ending : {Ending::closed, Ending::cut, Ending::reset}) {
    const Reply none = Reply::bytes("").endingAfter(0, ending);
    server.serve(kHost, "/x", {Reply::text("first"), none, Reply::text("again")});
    EXPECT_EQ(fetch(url("/x")), 0);
    EXPECT_EQ(fetch(url("/x")), 0) << "it was closed when the second request was under way";
    EXPECT_EQ(body, "again");
    if (ending == Ending::reset) continue;  // which may take away what was sent
    server.serve(kHost, "/x", Reply::text("x").endingAfter(1, ending));
    for (int i = 0; i < 3; ++i)
      EXPECT_EQ(download(url("/x")), 0) << "it was closed after the answer";
  }
}

/// What comes with a redirect is read to keep the connection, and given up where that costs more.
TEST_F(UrlLoading, ARedirectIsFollowedWhateverItsBodyDoes) {
  constexpr std::size_t kBodyBytes = 64UL << 20;
  const std::string kCases[] = {
      "Content-Length: 10\r\n\r\n",  // and no byte of them
      "Content-Length: 10\r\nTransfer-Encoding: chunked\r\n\r\n4000000\r\n" + std::string(kBodyBytes, 'x'),
      "Content-Length: 10\r\nContent-Length: 99999999\r\n\r\n" + std::string(kBodyBytes, 'x'),
  };
  server.serve(kHost, "/to", Reply::text("there"));
  for (const std::string& rest : kCases) {
    SCOPED_TRACE(rest.substr(0, 80));
    std::atomic<std::size_t> sent = 0;
    const tools::Listener endless(0, [&](int client) {
      const std::string answer = "HTTP/1.1 302 Found\r\nLocation: " + url("/to") + "\r\n" + rest;
      ssize_t count = 0;
      while ((count = send(client, &answer[sent], answer.size() - sent, MSG_NOSIGNAL)) > 0)
        sent += static_cast<std::size_t>(count);
      std::array<char, 4096> asked{};
      while (read(client, asked.data(), asked.size()) > 0) {
      }
      close(client);
    });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(fetch("http://127.0.0.1:" + std::to_string(endless.port()) + "/"), 0);
    EXPECT_EQ(body, "there");
    EXPECT_LT(sent, kBodyBytes) << "read to its end";
    EXPECT_LT(std::chrono::steady_clock::now() - start, idleTimeout / 2);
  }
}

/// As a suspended machine or a router that forgot it leaves it: nobody says that it is closed.
TEST_F(UrlLoading, AKeptConnectionThatFellSilentIsMadeAgainOnce) {
  idleTimeout = 1s;
  const Reply silence = Reply::bytes("").endingAfter(0, Ending::stalled);
  server.serve(kHost, "/x",
               {Reply::text("first"), silence, Reply::text("again"), silence, silence, Reply::text("late")});
  EXPECT_EQ(fetch(url("/x")), 0);
  EXPECT_EQ(fetch(url("/x")), 0);
  EXPECT_EQ(body, "again");
  EXPECT_EQ(fetch(url("/x")), number(timedOut)) << "silent twice";
  server.serve("other.example", "/x", {silence, Reply::text("late")});
  EXPECT_EQ(fetch(url("/x", "other.example")), number(timedOut)) << "a connection that is new";
}

TEST_F(UrlLoading, AnyFinalStatusIsAnAnswer) {
  server.serve(kHost, "/x",
               Reply::bytes("HTTP/1.1 100 Continue\r\nContent-Type: c/d\r\n\r\n"
                            "HTTP/1.1 503 No\r\nContent-Type: A/b\x1b[2J; charset=\"UTF-8\"\r\n\r\nbody"));
  EXPECT_EQ(fetch(url("/x")), 0);
  EXPECT_EQ(body, "body");
  EXPECT_EQ(response.statusCode, 503);
  EXPECT_EQ(response.mimeType, "a/b [2j") << "nothing in it steers a terminal";
  EXPECT_EQ(response.textEncodingName, "utf-8");
}

TEST_F(UrlLoading, SlowTransfersAreBoundedInTotal) {
  idleTimeout = 1s;
  server.serve(kHost, "/x", Reply::bytes("HTTP/1.1 200 OK\r\n\r\nx").trickling(100ms));
  EXPECT_EQ(fetch(url("/x")), 0) << "each byte of a head is activity";
  timeLimit = 1s;
  server.serve(kHost, "/x", Reply::text(std::string(50, 'x')).trickling(100ms));
  EXPECT_EQ(fetch(url("/x")), number(timedOut)) << "activity does not prolong the whole";
}

TEST_F(UrlLoading, BodiesOfNoBytesAndAtTheLimit) {
  server.serve(kHost, "/x", Reply::text(""));
  test::writeFile(destination, "good");
  EXPECT_EQ(download(url("/x")), number(zeroByteResource));
  EXPECT_EQ(test::readFile(destination), "good");
  EXPECT_EQ(fetch(url("/x"), 0), 0);
  sizeLimit = 5;
  server.serve(kHost, "/x", Reply::text("12345"));
  EXPECT_EQ(download(url("/x")), 0);
  EXPECT_EQ(fetch(url("/x"), 5), 0);
  EXPECT_EQ(fetch(url("/x"), 4), number(dataLengthExceedsMaximum));
}

TEST_F(UrlLoading, EncodedBodiesAreDecodedOnlyInMemory) {
  constexpr std::string_view kGzippedHello(
      "\x1f\x8b\x08\x00\x00\x00\x00\x00\x00\x03\xcb\x48\xcd\xc9\xc9\x07\x00\x86\xa6\x10\x36\x05\x00\x00\x00",
      25);
  Reply reply = Reply::text(std::string(kGzippedHello));
  reply.headers["Content-Encoding"] = "gzip";
  server.serve(kHost, "/x", reply);
  EXPECT_EQ(fetch(url("/x")), 0);
  EXPECT_EQ(body, "hello");
  EXPECT_EQ(download(url("/x")), 0);
  EXPECT_EQ(test::readFile(destination), kGzippedHello);
}

TEST_F(UrlLoading, ChallengesOfServersAndProxiesAreTold) {
  const std::pair<const char*, const char*> kCases[] = {
      {"WWW-Authenticate: Negotiate YQ==\r\nwww-authenticate: basic realm = \"a \\\"b\\\", c\"\r\n",
       "HTTPBasic a \"b\", c"},
      {"WWW-Authenticate: , Digest realm=\"d\", nonce=\"n\", NTLM\r\n", "HTTPDigest d"},
      {"WWW-Authenticate: Other a=\"Basic realm=b\"\r\n", "Default "},
  };
  for (const auto& [fields, told] : kCases) {
    server.serve(kHost, "/x", Reply::bytes("HTTP/1.1 401 No\r\n" + std::string(fields) + "\r\nwho?"));
    EXPECT_EQ(download(url("/x")), 0);
    EXPECT_EQ(test::readFile(destination), "who?") << "no credentials: the answer as it is";
    EXPECT_EQ(recorder.space.authenticationMethod + " " + recorder.space.realm,
              "NSURLAuthenticationMethod" + std::string(told));
    EXPECT_EQ(recorder.space.host, kHost);
  }
  EXPECT_EQ(download(url("/x", "proxy.example")), number(cannotConnectToHost));
  EXPECT_TRUE(recorder.space.isProxy);
  EXPECT_EQ("http://127.0.0.1:" + std::to_string(recorder.space.port), server.proxyUrl());
}

TEST_F(UrlLoading, CredentialsAreSentWhenAskedForAndThere) {
  Reply challenge = Reply::withStatus(401, "who?");
  challenge.headers["WWW-Authenticate"] = "Negotiate, Basic realm=\"x\"";
  const std::string netrc = sandbox.home() + "/.netrc";
  const auto sent = [this] { return server.requests().back().headers.count("authorization") != 0; };

  test::writeFile(netrc, "machine good.example login me password secret\n");
  server.serve(kHost, "/x", {challenge, Reply::text("welcome")});
  EXPECT_EQ(download(url("/x")), 0);
  EXPECT_EQ(test::readFile(destination), "welcome");
  EXPECT_EQ(server.requests().at(1).headers.at("authorization"), "Basic bWU6c2VjcmV0");
  server.serve(kHost, "/x", challenge);
  EXPECT_EQ(fetch(url("/x")), 0);
  EXPECT_EQ(body, "who?") << "credentials that do not fit are sent once";
  EXPECT_EQ(server.requests().size(), 4u);

  server.serve(kHost, "/x", Reply::redirect("https://other.example/x"));
  server.serve("other.example", "/x", challenge);
  EXPECT_EQ(fetch(url("/x")), 0);
  EXPECT_FALSE(sent()) << "what is stored for one host is for no other";
  test::writeFile(netrc, "default login me password secret\n");
  EXPECT_EQ(fetch(url("/x")), 0);
  EXPECT_FALSE(sent()) << "what is stored for any host is for the first alone";

  std::filesystem::remove(netrc);
  ASSERT_EQ(mkfifo(netrc.c_str(), 0600), 0);
  EXPECT_EQ(fetch(url("/x")), 0) << "a pipe holds nobody up";
  EXPECT_FALSE(sent());
}

TEST_F(UrlLoading, WhateverFailsTheGoodFileIsKept) {
  test::writeFile(destination, "good");
  server.serve(kHost, "/x", Reply::text("0123456789").endingAfter(5, Ending::closed));
  EXPECT_EQ(download(url("/x")), number(networkConnectionLost));
  server.serve(kHost, "/x", Reply::text(std::string(100'000, 'x')));
  EXPECT_EQ(download(url("/x"), false), number(cannotCreateFile)) << "it may not be replaced";
  {
    const test::FileSizeLimit limit(10'000);
    EXPECT_EQ(download(url("/x")), number(cannotWriteToFile));
  }
  EXPECT_EQ(test::readFile(destination), "good");
  EXPECT_THAT(files(), ElementsAre("file"));

  recorder.onCreated = [this] {
    std::filesystem::remove(destination);
    test::makeFolder(destination);
  };
  EXPECT_EQ(download(url("/x")), number(cannotMoveFile));
  recorder.onCreated = nullptr;
  EXPECT_EQ(download(url("/x")), number(cannotOpenFile)) << "a folder";
  EXPECT_THAT(files(), ElementsAre("file"));
  destination = folder / "missing/file";
  EXPECT_EQ(download(url("/x")), number(cannotCreateFile));
}

TEST_F(UrlLoading, DestroyingADownloadStopsIt) {
  server.serve(kHost, "/x", Reply::text("0123456789").endingAfter(5, Ending::stalled));
  auto running = platform::UrlDownload::start(request(url("/x")), recorder);
  running->setDestination(destination, true);
  running->setDeletesFileUponFailure(true);
  EXPECT_EQ(platform::UrlDownload::start(request(url("/x")), recorder), nullptr) << "one at a time";
  while (recorder.bytes == 0)
    ASSERT_TRUE(platform::runLoopOnce(platform::distantFuture()));
  EXPECT_THAT(files(), ElementsAre(StartsWith(".vantora-"))) << "nothing under the final name yet";

  running.reset();
  EXPECT_EQ(files(), std::vector<std::string>());
  EXPECT_FALSE(platform::runLoopOnce(platform::distantFuture()));
  EXPECT_EQ(recorder.ends, 0);
}

}  // namespace
