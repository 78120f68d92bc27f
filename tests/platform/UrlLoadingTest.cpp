#include "platform/UrlLoading.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/RunLoop.h"
#include "platform/linux/HttpCredentials.h"
#include "tests/support/Environment.h"
#include "tools/staging/Listener.h"
#include "tools/staging/StagingServer.h"

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
    {.name = "selfsigned.example", .certificate = Certificate::selfSigned},
    {.name = "unknown.example", .certificate = Certificate::unknownIssuer},
    {.name = "wrong.example", .certificate = Certificate::wrongHost},
    {.name = "refused.example", .handshake = Handshake::refused},
    {.name = "reset.example", .handshake = Handshake::reset},
    {.name = "stalled.example", .handshake = Handshake::stalled},
    {.name = "alert.example", .handshake = Handshake::alert},
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
    return acceptsChallenge;
  }
  void didCancelAuthenticationChallenge(Download&) override { events.emplace_back("cancel"); }
  bool shouldUseCredentialStorage(Download&) override { return true; }
  void didReceiveResponse(Download&, const platform::UrlResponse& received) override {
    events.push_back("response " + std::to_string(received.statusCode));
    response = std::make_unique<platform::UrlResponse>(received);
  }
  void decideDestination(Download&, const std::string& name) override { events.push_back("name " + name); }
  void didCreateDestination(Download&, const std::string&) override {
    events.emplace_back("created");
    if (onCreated) onCreated();
  }
  bool shouldDecodeSourceData(Download&, const std::string&) override { return decodes; }
  void didReceiveData(Download&, std::uint64_t count) override {
    if (bytes == 0) events.emplace_back("data");
    bytes += count;
  }
  void didFinish(Download&) override {
    events.emplace_back("finish");
    ++ends;
  }
  void didFail(Download&, const Error& failure) override {
    events.emplace_back("fail");
    error = failure;
    ++ends;
  }

  std::vector<std::string> events;
  std::uint64_t bytes = 0;
  int ends = 0;
  Error error;
  platform::ProtectionSpace space;
  std::unique_ptr<platform::UrlResponse> response;
  bool acceptsChallenge = true;
  bool decodes = false;
  std::function<void()> onCreated;
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
  std::int64_t download(const std::string& text, bool overwrite = true, bool deletes = true) {
    recorder.events.clear();
    recorder.error = Error();
    recorder.bytes = 0;
    recorder.ends = 0;
    const auto running = platform::UrlDownload::start(request(text), recorder);
    running->setDestination(destination, overwrite);
    running->setDeletesFileUponFailure(deletes);
    while (platform::runLoopOnce(platform::distantFuture())) {
    }
    EXPECT_EQ(recorder.ends, 1);
    EXPECT_EQ(recorder.error.failed(), recorder.events.back() == "fail");
    EXPECT_EQ(recorder.error.failed(), recorder.error.domain == platform::kUrlErrorDomain);
    EXPECT_EQ(recorder.error.failed(), !recorder.error.description.empty());
    return recorder.error.code;
  }

  std::int64_t fetch(const std::string& text, std::uint64_t limitBytes = 1000) {
    return platform::sendSynchronousRequest(request(text), limitBytes, response, body).code;
  }

  /// The files in the folder of the destination, in order.
  std::vector<std::string> files() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
      names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }

  /// A stall is waited for; anything else must not be mistaken for one on a busy machine.
  void expectCode(UrlErrorCode code) { idleTimeout = code == timedOut ? 1s : 30s; }

  test::Sandbox sandbox;
  std::chrono::seconds idleTimeout{30};
  std::chrono::seconds timeLimit{100};
  std::uint64_t sizeLimit = 1'000'000;
  staging::Server server{{.hosts = kHosts}};
  const std::map<std::string, std::string> variables = server.environment();
  test::ScopedEnvironment environment{{variables.begin(), variables.end()}};
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
  std::string trailers = ok + "Transfer-Encoding: chunked\r\n\r\n1\r\nx\r\n0\r\n";
  for (int i = 0; i < 20'000; ++i)
    trailers += "X: " + std::string(100, 'x') + "\r\n";
  const Case kCases[] = {
      {"another protocol", Reply::bytes("HTTP/1.1 101 Switch\r\n\r\nbody"), badServerResponse},
      {"another protocol at once", Reply::bytes("HTTP/1.1 101 Switch\r\n\r\n"), badServerResponse},
      {"interim answers only", Reply::bytes("HTTP/1.1 103 Early Hints\r\n\r\n"), networkConnectionLost},
      {"no status", Reply::bytes("HTTP/1.1 -20 OK\r\n\r\nx"), badServerResponse},
      {"lines that are no fields", Reply::bytes(ok + "x\r\n\r\nx"), badServerResponse},
      {"trailers that are none", Reply::bytes(ok + "Transfer-Encoding: chunked\r\n\r\n0\r\nx\r\n\r\n"),
       badServerResponse},
      {"trailers without end", Reply::bytes(trailers + "\r\n"), badServerResponse},
      {"a long body that is announced", announced.endingAfter(0, Ending::stalled), dataLengthExceedsMaximum},
      {"a long body that is not", Reply::bytes(ok + "\r\n" + std::string(1'000'001, 'x')),
       dataLengthExceedsMaximum},
      {"not HTTP", Reply::bytes("SSH-2.0-x\r\n\r\n"), badServerResponse},
      {"bad chunk", Reply::badChunk(), badServerResponse},
      {"bad length", Reply::bytes(ok + "Content-Length: abc\r\n\r\nx"), badServerResponse},
      {"huge head", Reply::bytes(ok + "X: " + std::string(200'000, 'x') + "\r\n\r\n"), badServerResponse},
      {"no answer", Reply::bytes(""), networkConnectionLost},
      {"reset before the answer", Reply::bytes("").endingAfter(0, Ending::reset), networkConnectionLost},
      {"closed in the head", Reply::bytes(ok + "Content-Le"), networkConnectionLost},
      {"cut in the body", large.endingAfter(50'000, Ending::cut), networkConnectionLost},
      {"reset in the body", large.endingAfter(50'000, Ending::reset), networkConnectionLost},
      {"stalled before the answer", Reply::bytes("").endingAfter(0, Ending::stalled), timedOut},
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
  struct Case {
    std::string url;
    UrlErrorCode code;
  };
  const Case kCases[] = {
      {url("/", "expired.example"), certificateHasBadDate},
      {url("/", "early.example"), certificateNotYetValid},
      {url("/", "unknown.example"), certificateHasUnknownRoot},
      {url("/", "selfsigned.example"), certificateUntrusted},
      {url("/", "wrong.example"), certificateUntrusted},
      {url("/", "alert.example"), secureConnectionFailed},
      {url("/", "plain.example"), secureConnectionFailed},
      {url("/", "wanted.example"), clientCertificateRequired},
      {url("/", "wanted12.example"), clientCertificateRequired},
      {url("/", "certificate.example"), clientCertificateRejected},
      {url("/", "reset.example"), secureConnectionFailed},
      {url("/", "stalled.example"), timedOut},
      {url("/", "refused.example"), cannotConnectToHost},
      {url("/", "unlisted.example"), cannotConnectToHost},
      {"ftp://good.example/", unsupportedUrl},
      {"good.example", unsupportedUrl},
      {"https:///x", badUrl},
      {"https://2130706433/", badUrl},      // the network library reads 127.0.0.1
      {"https://%67ood.example/", badUrl},  // and here "good.example"
  };
  for (const Case& row : kCases) {
    SCOPED_TRACE(row.url);
    expectCode(row.code);
    EXPECT_EQ(download(row.url), number(row.code)) << recorder.error.description;
    EXPECT_EQ(fetch(row.url), number(row.code));
  }
  EXPECT_TRUE(server.requests().empty());
}

TEST_F(UrlLoading, NamesPortsProxiesAndAuthoritiesThatAreNotThere) {
  const std::string closed = "127.0.0.1:1";
  const std::string nameless = std::string(64, 'a') + ".invalid";  // no name server is asked for it
  struct Case {
    std::map<std::string, std::optional<std::string>> variables;
    std::string url;
    UrlErrorCode code;
  };
  const Case kCases[] = {
      {{{"no_proxy", "*"}}, url("/", nameless), cannotFindHost},
      {{{"https_proxy", "http://" + nameless + ":80"}}, url("/"), cannotFindHost},
      {{{"no_proxy", "*"}}, url("/", closed), cannotConnectToHost},
      {{{"https_proxy", "http://" + closed}}, url("/"), cannotConnectToHost},
      {{{"SSL_CERT_FILE", folder / "none"}}, url("/"), secureConnectionFailed},
      {{{"SSL_CERT_FILE", std::nullopt}}, url("/"), certificateHasUnknownRoot},
  };
  for (const Case& row : kCases) {
    SCOPED_TRACE(row.url);
    const test::ScopedEnvironment changes(row.variables);
    EXPECT_EQ(download(row.url), number(row.code)) << recorder.error.description;
  }
}

TEST_F(UrlLoading, AWholeDownload) {
  const std::string content(300'000, 'c');
  Reply reply = Reply::text(content);
  reply.headers = {{"Content-Type", "Application/X-Tar; charset=\"UTF-8\""},
                   {"Content-Disposition", "attachment; filename=\"../up/a\\\"b;c.tar\""}};
  server.serve("other.example", "/to", reply);
  server.serve(kHost, "/from", Reply::redirect("https://other.example/to", 301));
  test::writeFile(destination, "old");
  server.expect({{kHost, "/from"}, {"other.example", "/to"}});

  EXPECT_EQ(download(url("/from")), 0);
  EXPECT_THAT(recorder.events, ElementsAre("begin", "send https://good.example/from",
                                           "send https://other.example/to after 301", "response 200",
                                           "name a\"b;c.tar", "created", "data", "finish"));
  EXPECT_EQ(recorder.bytes, content.size());
  EXPECT_EQ(test::readFile(destination), content);
  EXPECT_THAT(files(), ElementsAre("file"));
  EXPECT_EQ(recorder.response->expectedContentLength, 300'000);
  EXPECT_EQ(recorder.response->mimeType, "application/x-tar");
  EXPECT_EQ(recorder.response->textEncodingName, "utf-8");
  EXPECT_THAT(server.unexpectedRequests(), ElementsAre());
  EXPECT_THAT(server.missingRequests(), ElementsAre());
}

TEST_F(UrlLoading, RedirectsAreFollowedWhereverTheyLead) {
  const staging::Listener plain(0, [](int client) {
    constexpr std::string_view kAnswer = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nplain";
    std::array<char, 4096> asked{};
    EXPECT_GT(read(client, asked.data(), asked.size()), 0);
    EXPECT_EQ(write(client, kAnswer.data(), kAnswer.size()), ssize_t{kAnswer.size()});
    close(client);
  });
  const std::string end = "http://127.0.0.1:" + std::to_string(plain.port()) + "/?a%20b%C3%BC";
  for (int i = 0; i < 19; ++i)
    server.serve(kHost, "/" + std::to_string(i), Reply::redirect(std::to_string(i + 1) + "?a b\xC3\xBC"));
  server.serve(kHost, "/19", Reply::redirect(end + " \xC3\xBC"));
  EXPECT_EQ(fetch(url("/0")), 0);
  EXPECT_EQ(body, "plain");
  EXPECT_EQ(response.url.absoluteString(), end + "%20%C3%BC");
  EXPECT_EQ(server.requests().at(1).path, "/1?a%20b%C3%BC");
  EXPECT_EQ(download(url("/0")), 0);
  EXPECT_EQ(test::readFile(destination), "plain");
}

TEST_F(UrlLoading, OneConnectionServesAllRequestsToAHost) {
  struct Case {
    const char* name;
    std::string host;
    std::map<std::string, std::optional<std::string>> variables;
  };
  const Case kCases[] = {
      {"through the proxy", kHost, {}},
      {"direct", "localhost:" + std::to_string(server.port()), {{"no_proxy", "*"}}},
  };
  for (const char* host : {kHost, "localhost"}) {
    server.serve(host, "/info", Reply::text("info"));
    server.serve(host, "/moved", Reply::redirect("/archive"));
    server.serve(host, "/archive", Reply::text("archive"));
  }
  for (const Case& row : kCases) {
    SCOPED_TRACE(row.name);
    const test::ScopedEnvironment changes(row.variables);
    const std::size_t before = server.connections();
    EXPECT_EQ(fetch(url("/info", row.host)), 0);
    EXPECT_EQ(download(url("/moved", row.host)), 0);
    EXPECT_EQ(download(url("/archive", row.host)), 0);
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

TEST_F(UrlLoading, ARequestMayBeginWithinADownload) {
  server.serve(kHost, "/x", Reply::text("x"));
  recorder.onCreated = [this] { EXPECT_EQ(fetch(url("/x")), 0); };
  EXPECT_EQ(download(url("/x")), 0);
}

TEST_F(UrlLoading, AnyStatusAndManyHeadsAreAnAnswer) {
  struct Case {
    const char* head;
    const char* type = "application/octet-stream";
    int status = 200;
    bool mayBeRefused = false;  // by stricter versions of the network library
  };
  const Case kCases[] = {
      {"HTTP/1.1 100 Continue\r\nContent-Type: a/b\r\n\r\nHTTP/1.1 200 OK\r\nX: 1\r\n"},
      {"HTTP/1.1 103 Early Hints\r\n\r\nHTTP/1.1 100 \r\n\r\nHTTP/1.0 200\r\nContent-type: a/b\r\n", "a/b"},
      {.head = "HTTP/1.1 304 Not Modified\r\n", .status = 304},
      {.head = "HTTP/1.1 503 Service Unavailable\r\n", .status = 503},
      {.head = "HTTP/1.1  200 OK\r\n", .mayBeRefused = true},
      {.head = "http/1.1 200 OK\r\n", .mayBeRefused = true},
      {"HTTP/1.1 200 OK\nContent-Type: a/b\n", "a/b"},
      {"HTTP/1.1 200 OK\r\nContent-Type:\r\n\ta/b\r\n", "a/b"},
      {"HTTP/1.1 200 OK\r\nContent-Type: a/b\x1b[2J\r\n", "a/b [2j"},
      {"HTTP/1.1 200 OK\r\nContent-Type: a/b\r\nContent-Type: c/d\r\n", "a/b"},
  };
  for (const Case& row : kCases) {
    SCOPED_TRACE(row.head);
    server.serve(kHost, "/x", Reply::bytes(std::string(row.head) + "\r\nbody"));
    if (fetch(url("/x")) == number(badServerResponse)) continue;  // newer libraries are stricter
    EXPECT_EQ(body, row.status == 304 ? "" : "body");
    EXPECT_EQ(response.statusCode, row.status);
    EXPECT_EQ(response.mimeType, row.type);
  }
}

TEST_F(UrlLoading, SlowTransfersAreBoundedInTotal) {
  idleTimeout = 1s;
  server.serve(kHost, "/x", Reply::bytes("HTTP/1.1 200 OK\r\n\r\nx").trickling(100ms));
  EXPECT_EQ(fetch(url("/x")), 0) << "each byte of a head is activity";
  timeLimit = 1s;
  server.serve(kHost, "/x", Reply::text(std::string(50, 'x')).trickling(100ms));
  EXPECT_EQ(fetch(url("/x")), number(timedOut)) << "activity does not prolong the whole";
}

TEST_F(UrlLoading, RequestsCarryTheirHeaders) {
  platform::UrlRequest sent = request(url("/x"));
  sent.headers = {{"User-Agent", "VNTUpdate/1(Mac)"}, {"X-Empty", ""}};
  sent.ignoresCache = true;
  server.serve(kHost, "/x", Reply::text("x"));
  EXPECT_FALSE(platform::sendSynchronousRequest(sent, 10, response, body));
  const auto headers = server.requests().at(0).headers;
  EXPECT_EQ(headers.at("user-agent"), "VNTUpdate/1(Mac)");
  EXPECT_EQ(headers.at("x-empty"), "");
  EXPECT_EQ(headers.at("cache-control"), "no-cache");
  EXPECT_EQ(headers.at("pragma"), "no-cache");
  sent.headers = {{"X", "a\r\nInjected: yes"}};
  EXPECT_TRUE(platform::sendSynchronousRequest(sent, 10, response, body));
  EXPECT_EQ(server.requests().size(), 1u);
}

TEST_F(UrlLoading, BodiesOfNoBytesAndAtTheLimit) {
  server.serve(kHost, "/x", Reply::text(""));
  test::writeFile(destination, "good");
  EXPECT_EQ(download(url("/x")), number(zeroByteResource));
  EXPECT_EQ(test::readFile(destination), "good");
  EXPECT_EQ(fetch(url("/x"), 0), 0);
  EXPECT_EQ(body, "");

  sizeLimit = 5;
  server.serve(kHost, "/x", Reply::text("12345"));
  EXPECT_EQ(download(url("/x")), 0);
  EXPECT_EQ(fetch(url("/x"), 5), 0);
  EXPECT_EQ(fetch(url("/x"), 4), number(dataLengthExceedsMaximum));
}

TEST_F(UrlLoading, EncodedBodies) {
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
  recorder.decodes = true;
  EXPECT_EQ(download(url("/x")), number(cannotDecodeContentData));

  EXPECT_EQ(server.requests().at(0).headers.count("accept-encoding"), 1u);
  EXPECT_EQ(server.requests().at(1).headers.count("accept-encoding"), 0u);
  reply.body = "no gzip";
  server.serve(kHost, "/x", reply);
  EXPECT_EQ(fetch(url("/x")), number(badServerResponse));
}

TEST_F(UrlLoading, ChallengesAreTold) {
  struct Case {
    const char* fields;
    const char* method;
    const char* realm = "";
  };
  const Case kCases[] = {
      {"WWW-Authenticate: Basic charset=\"UTF-8\", realm=\"a \\\"b\\\", c\"\r\n", "HTTPBasic", "a \"b\", c"},
      {"WWW-Authenticate: Negotiate, Basic realm=b\r\n", "HTTPBasic", "b"},
      {"WWW-Authenticate: Negotiate YQ==\r\nwww-authenticate: basic realm = \"b\"\r\n", "HTTPBasic", "b"},
      {"WWW-Authenticate: Basic realm=\"Digest, x=1\", Digest realm=\"d\"\r\n", "HTTPBasic", "Digest, x=1"},
      {"WWW-Authenticate: , Digest realm=\"d\", nonce=\"n\", NTLM\r\n", "HTTPDigest", "d"},
      {"WWW-Authenticate: Other a=\"Basic realm=b\"\r\n", "Default"},
      {"", "Default"},
  };
  for (const Case& row : kCases) {
    SCOPED_TRACE(row.fields);
    server.serve(kHost, "/x", Reply::bytes("HTTP/1.1 401 No\r\n" + std::string(row.fields) + "\r\nwho?"));
    EXPECT_EQ(download(url("/x")), 0);
    EXPECT_EQ(test::readFile(destination), "who?") << "no credentials: the answer as it is";
    EXPECT_EQ(recorder.space.authenticationMethod, "NSURLAuthenticationMethod" + std::string(row.method));
    EXPECT_EQ(recorder.space.realm, row.realm);
  }
  EXPECT_EQ(recorder.space.protocol + "://" + recorder.space.host, url(""));
  EXPECT_EQ(recorder.space.port, 443);
  EXPECT_FALSE(recorder.space.isProxy);

  EXPECT_EQ(download(url("/x", "proxy.example")), number(cannotConnectToHost));
  EXPECT_EQ(recorder.space.authenticationMethod, "NSURLAuthenticationMethodHTTPBasic");
  EXPECT_EQ(recorder.space.realm, "way out");
  EXPECT_TRUE(recorder.space.isProxy);
  EXPECT_EQ(recorder.space.protocol + "://" + recorder.space.host + ":" + std::to_string(recorder.space.port),
            server.proxyUrl());
}

TEST_F(UrlLoading, CredentialsAreSentWhenAskedForAndThere) {
  const std::string basic = "Basic bWU6c2VjcmV0";  // me:secret
  Reply challenge = Reply::withStatus(401, "who?");
  challenge.headers["WWW-Authenticate"] = "Negotiate, Basic realm=\"x\"";
  const std::vector<Reply> dialogue = {challenge, Reply::text("welcome")};
  const std::string netrc = sandbox.home() + "/.netrc";
  const auto sent = [this] { return server.requests().back().headers.count("authorization") != 0; };

  test::writeFile(netrc, "machine good.example login me password secret\n");
  server.serve(kHost, "/x", dialogue);
  EXPECT_EQ(download(url("/x")), 0);
  EXPECT_EQ(test::readFile(destination), "welcome");
  EXPECT_EQ(server.requests().at(0).headers.count("authorization"), 0u);
  EXPECT_EQ(server.requests().at(1).headers.at("authorization"), basic);
  recorder.acceptsChallenge = false;
  server.serve(kHost, "/x", dialogue);
  EXPECT_EQ(download(url("/x")), 0);
  EXPECT_EQ(test::readFile(destination), "who?");

  server.serve(kHost, "/x", challenge);
  EXPECT_EQ(fetch(url("/x")), 0);
  EXPECT_EQ(body, "who?") << "credentials that do not fit are sent once";
  EXPECT_EQ(server.requests().size(), 5u);

  server.serve(kHost, "/x", Reply::redirect("https://other.example/x"));
  server.serve("other.example", "/x", challenge);
  test::writeFile(netrc, "machine other.example login me password secret\n");
  EXPECT_EQ(fetch(url("/x")), 0);
  EXPECT_TRUE(sent()) << "what is stored for the host that a redirect leads to";
  test::writeFile(netrc, "default login me password secret\n");
  EXPECT_EQ(fetch(url("/x")), 0);
  EXPECT_FALSE(sent()) << "what is stored for any host is for the first alone";
  EXPECT_EQ(fetch(url("/x", "other.example")), 0);
  EXPECT_TRUE(sent());

  std::filesystem::remove(netrc);
  ASSERT_EQ(mkfifo(netrc.c_str(), 0600), 0);
  EXPECT_EQ(fetch(url("/x")), 0) << "a pipe holds nobody up";
  EXPECT_FALSE(sent());
}

TEST(HttpCredentials, AreFoundAsTheFormatSays) {
  struct Case {
    std::string netrc;
    const char* found;
  };
  const Case kCases[] = {
      {"machine a.example login me password secret", "me:secret"},
      {"MACHINE\tA.Example\r\nLOGIN me\naccount x\npassword \"a \\\"b\\\\\"", "me:a \"b\\"},
      {"# machine a.example login no\nmachine a.example login me # password #1", "me:"},
      {"machine b.example login no password machine machine a.example password p login me", "me:p"},
      {"machine a.example\nmachine b.example login no\ndefault login any password p", "any:p"},
      {"default login any machine a.example login me", "any:"},
      {"macdef m\nmachine a.example login no\n\nmachine a.example login me", "me:"},
      {"machine a.example login", "none"},
      {"machine a.example password p", "none"},
      {"machine a.example login me password \"p\nmachine b.example login x password \"other\"", "none"},
      {std::string("machine a.example login m\0e", 27), "none"},
  };
  for (const Case& row : kCases) {
    const auto found = platform::findCredentials(row.netrc, "a.example", platform::DefaultEntry::counts);
    EXPECT_EQ(found ? found->userName + ":" + found->password : "none", row.found) << row.netrc;
  }
}

TEST_F(UrlLoading, AFailureKeepsTheGoodFile) {
  server.serve(kHost, "/x", Reply::text("0123456789").endingAfter(5, Ending::closed));
  test::writeFile(destination, "good");
  EXPECT_EQ(download(url("/x")), number(networkConnectionLost));
  EXPECT_EQ(test::readFile(destination), "good");
  EXPECT_THAT(files(), ElementsAre("file"));
  std::filesystem::remove(destination);
  EXPECT_EQ(download(url("/x"), true, false), number(networkConnectionLost));
  EXPECT_EQ(test::readFile(destination), "01234") << "a partial file stays when asked";

  server.serve(kHost, "/x", Reply::text("better"));
  EXPECT_EQ(download(url("/x"), false), number(cannotCreateFile));
  EXPECT_EQ(test::readFile(destination), "01234");
}

TEST_F(UrlLoading, FilesThatCannotBeWritten) {
  server.serve(kHost, "/x", Reply::text(std::string(100'000, 'x')));

  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small{.rlim_cur = 10'000, .rlim_max = before.rlim_max};
  const auto handler = signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &small);
  EXPECT_EQ(download(url("/x")), number(cannotWriteToFile));
  setrlimit(RLIMIT_FSIZE, &before);
  signal(SIGXFSZ, handler);
  EXPECT_NE(recorder.error.description.find("File too large"), std::string::npos)
      << recorder.error.description;
  EXPECT_EQ(files(), std::vector<std::string>());

  test::writeFile(destination, "good");
  recorder.onCreated = [this] {
    std::filesystem::remove(destination);
    test::makeFolder(destination);
  };
  EXPECT_EQ(download(url("/x")), number(cannotMoveFile));
  EXPECT_THAT(files(), ElementsAre("file"));
  recorder.onCreated = nullptr;

  EXPECT_EQ(download(url("/x")), number(cannotOpenFile)) << "a folder";
  destination = folder / "missing/file";
  EXPECT_EQ(download(url("/x")), number(cannotCreateFile));
  destination = "";
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

  const auto before = platform::now();
  EXPECT_TRUE(platform::runLoopOnce(before + 50ms)) << "the deadline ends a run";
  EXPECT_GE(platform::now(), before + 50ms);
  running.reset();
  EXPECT_EQ(files(), std::vector<std::string>());
  EXPECT_FALSE(platform::runLoopOnce(platform::distantFuture()));
  EXPECT_EQ(recorder.ends, 0);
}

}  // namespace
