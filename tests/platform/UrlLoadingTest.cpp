#include "platform/UrlLoading.h"

#include <arpa/inet.h>
#include <curl/curl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/RunLoop.h"
#include "platform/linux/HttpOutcome.h"
#include "tests/support/Environment.h"
#include "tools/staging/StagingServer.h"

namespace {

using namespace std::chrono_literals;
using platform::Error;
using platform::UrlErrorCode;
using staging::Certificate;
using staging::Ending;
using staging::Handshake;
using staging::Reply;
using ::testing::ElementsAre;

constexpr const char* kHost = "good.example";

const std::vector<staging::Host> kHosts = {
    {.name = kHost},
    {.name = "other.example"},
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
    return {.url = platform::Url::parse(text).value(), .idleTimeout = idleTimeout};
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
    while (platform::RunLoop::current().runOnce(platform::distantFuture())) {
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
  void expectCode(UrlErrorCode code) { idleTimeout = code == UrlErrorCode::timedOut ? 1s : 30s; }

  test::Sandbox sandbox;
  std::chrono::seconds idleTimeout{30};
  staging::Server server{{.hosts = kHosts}};
  test::ScopedEnvironment environment = [this] {
    std::map<std::string, std::optional<std::string>> variables;
    for (const auto& [name, value] : server.environment())
      variables[name] = value;
    return test::ScopedEnvironment(variables);
  }();
  test::TemporaryFolder folder;
  std::string destination = folder / "file";
  Recorder recorder;
  platform::UrlResponse response{.url = platform::Url::parse("none:").value()};
  std::string body = "left over";
};

/// A port of 127.0.0.1 on which nobody listens.
class ClosedPort {
 public:
  ClosedPort() : _socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    EXPECT_EQ(bind(_socket, reinterpret_cast<sockaddr*>(&address), size), 0);
    EXPECT_EQ(getsockname(_socket, reinterpret_cast<sockaddr*>(&address), &size), 0);
    _port = ntohs(address.sin_port);
  }
  ~ClosedPort() { close(_socket); }
  [[nodiscard]] std::string address() const { return "127.0.0.1:" + std::to_string(_port); }

 private:
  int _socket;
  unsigned _port = 0;
};

TEST_F(UrlLoading, EachFaultReachesItsOwnCode) {
  struct Case {
    const char* name;
    Reply reply;
    UrlErrorCode code;
  };
  const Reply hello = Reply::text("hello");
  const Reply large = Reply::text(std::string(100'000, 'x'));
  const Case kCases[] = {
      {"not HTTP", Reply::bytes("SSH-2.0-x\r\n\r\n"), UrlErrorCode::badServerResponse},
      {"bad chunk", Reply::badChunk(), UrlErrorCode::badServerResponse},
      {"bad length", Reply::bytes("HTTP/1.1 200 OK\r\nContent-Length: abc\r\n\r\nx"),
       UrlErrorCode::badServerResponse},
      {"huge head", Reply::bytes("HTTP/1.1 200 OK\r\nX: " + std::string(200'000, 'x') + "\r\n\r\n"),
       UrlErrorCode::badServerResponse},
      {"no answer", Reply::bytes(""), UrlErrorCode::networkConnectionLost},
      {"no answer, cut", Reply::bytes("").endingAfter(0, Ending::cut), UrlErrorCode::networkConnectionLost},
      {"reset before the answer", Reply::bytes("").endingAfter(0, Ending::reset),
       UrlErrorCode::networkConnectionLost},
      {"closed in the head", Reply::bytes("HTTP/1.1 200 OK\r\nContent-Le"),
       UrlErrorCode::networkConnectionLost},
      {"closed before the body", large.endingAfter(0, Ending::closed), UrlErrorCode::networkConnectionLost},
      {"closed in the body", large.endingAfter(50'000, Ending::closed), UrlErrorCode::networkConnectionLost},
      {"cut in the body", large.endingAfter(50'000, Ending::cut), UrlErrorCode::networkConnectionLost},
      {"reset in the body", large.endingAfter(50'000, Ending::reset), UrlErrorCode::networkConnectionLost},
      {"stalled before the answer", Reply::bytes("").endingAfter(0, Ending::stalled), UrlErrorCode::timedOut},
      {"stalled in the body", large.endingAfter(50'000, Ending::stalled), UrlErrorCode::timedOut},
      {"redirect loop", Reply::redirect("/x"), UrlErrorCode::tooManyRedirects},
      {"redirect to a bad URL", Reply::redirect("https://a@b@c/"), UrlErrorCode::badUrl},
      {"redirect to another scheme", Reply::redirect("ftp://good.example/x"), UrlErrorCode::unsupportedUrl},
      {"redirect to a file", Reply::redirect("file:///etc/passwd"), UrlErrorCode::unsupportedUrl},
      {"redirect to a confusing host", Reply::redirect("https://127.1/"), UrlErrorCode::badUrl},
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
      {url("/", "expired.example"), UrlErrorCode::certificateHasBadDate},
      {url("/", "early.example"), UrlErrorCode::certificateNotYetValid},
      {url("/", "unknown.example"), UrlErrorCode::certificateHasUnknownRoot},
      {url("/", "selfsigned.example"), UrlErrorCode::certificateUntrusted},
      {url("/", "wrong.example"), UrlErrorCode::certificateUntrusted},
      {url("/", "alert.example"), UrlErrorCode::secureConnectionFailed},
      {url("/", "plain.example"), UrlErrorCode::secureConnectionFailed},
      {url("/", "reset.example"), UrlErrorCode::secureConnectionFailed},
      {url("/", "stalled.example"), UrlErrorCode::timedOut},
      {url("/", "refused.example"), UrlErrorCode::cannotConnectToHost},
      {url("/", "unlisted.example"), UrlErrorCode::cannotConnectToHost},
      {"ftp://good.example/", UrlErrorCode::unsupportedUrl},
      {"good.example", UrlErrorCode::unsupportedUrl},
      {"https:///x", UrlErrorCode::badUrl},
      {"https://2130706433/", UrlErrorCode::badUrl},      // the network library reads 127.0.0.1
      {"https://%67ood.example/", UrlErrorCode::badUrl},  // and here "good.example"
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
  const ClosedPort closed;
  const std::string nameless = std::string(64, 'a') + ".invalid";  // no name server is asked for it
  struct Case {
    std::map<std::string, std::optional<std::string>> variables;
    std::string url;
    UrlErrorCode code;
  };
  const Case kCases[] = {
      {{{"no_proxy", "*"}}, url("/", nameless), UrlErrorCode::cannotFindHost},
      {{{"https_proxy", "http://" + nameless + ":80"}}, url("/"), UrlErrorCode::cannotFindHost},
      {{{"no_proxy", "*"}}, url("/", closed.address()), UrlErrorCode::cannotConnectToHost},
      {{{"no_proxy", "*"}}, "http://" + closed.address(), UrlErrorCode::cannotConnectToHost},
      {{{"https_proxy", "http://" + closed.address()}}, url("/"), UrlErrorCode::cannotConnectToHost},
      {{{"SSL_CERT_FILE", folder / "none"}}, url("/"), UrlErrorCode::secureConnectionFailed},
      {{{"SSL_CERT_FILE", std::nullopt}, {"SSL_CERT_DIR", folder.path()}},
       url("/"),
       UrlErrorCode::certificateHasUnknownRoot},
      {{{"SSL_CERT_FILE", std::nullopt}}, url("/"), UrlErrorCode::certificateHasUnknownRoot},
  };
  for (const Case& row : kCases) {
    SCOPED_TRACE(row.url);
    const test::ScopedEnvironment variables(row.variables);
    EXPECT_EQ(download(row.url), number(row.code)) << recorder.error.description;
  }
}

/// Those that cannot be had from a server on this machine.
TEST(HttpOutcome, RareOnesHaveTheirCode) {
  struct Case {
    platform::HttpOutcome outcome;
    UrlErrorCode code;
  };
  const Case kCases[] = {
      {{CURLE_COULDNT_CONNECT, 0, ENETUNREACH, 0, "x"}, UrlErrorCode::notConnectedToInternet},
      {{CURLE_COULDNT_CONNECT, 0, ETIMEDOUT, 0, "x"}, UrlErrorCode::timedOut},
      {{CURLE_COULDNT_CONNECT, 0, EHOSTUNREACH, 0, "x"}, UrlErrorCode::cannotConnectToHost},
      {{CURLE_OPERATION_TIMEDOUT, 0, 0, 0, "x"}, UrlErrorCode::timedOut},
      {{CURLE_PEER_FAILED_VERIFICATION, 19, 0, 0, "x"}, UrlErrorCode::certificateHasUnknownRoot},
      {{CURLE_PEER_FAILED_VERIFICATION, 26, 0, 0, "x"}, UrlErrorCode::certificateUntrusted},
      {{CURLE_RECV_ERROR, 0, 0, 200, "SSL_read: unexpected eof"}, UrlErrorCode::networkConnectionLost},
      {{CURLE_SEND_ERROR, 0, EPIPE, 0, "x"}, UrlErrorCode::networkConnectionLost},
      {{CURLE_URL_MALFORMAT, 0, 0, 0, "x"}, UrlErrorCode::badUrl},
      {{CURLE_FTP_WEIRD_PASS_REPLY, 0, 0, 0, "x"}, UrlErrorCode::unknown},
  };
  for (const Case& row : kCases)
    EXPECT_EQ(number(platform::translate(row.outcome)), number(row.code)) << row.outcome.code;
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

TEST_F(UrlLoading, TwentyRedirectsAreFollowed) {
  for (int i = 0; i < 20; ++i)
    server.serve(kHost, "/" + std::to_string(i), Reply::redirect(std::to_string(i + 1) + "?a b\xC3\xBC"));
  server.serve(kHost, "/20", Reply::text("end"));
  EXPECT_EQ(fetch(url("/0")), 0);
  EXPECT_EQ(body, "end");
  EXPECT_EQ(response.url.absoluteString(), "https://good.example/20?a%20b%C3%BC");
  EXPECT_EQ(download(url("/0")), 0);
  server.serve(kHost, "/20", Reply::redirect("21"));
  EXPECT_EQ(fetch(url("/0")), number(UrlErrorCode::tooManyRedirects));
}

TEST_F(UrlLoading, AnyStatusIsAnAnswer) {
  for (const int status : {201, 300, 304, 404, 503}) {
    server.serve(kHost, "/x", Reply::withStatus(status, status == 304 ? "" : "text"));
    EXPECT_EQ(fetch(url("/x")), 0) << status;
    EXPECT_EQ(body, status == 304 ? "" : "text");
    EXPECT_EQ(response.statusCode, status);
  }
  server.serve(kHost, "/x", Reply::bytes("HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\nX: 1\r\n\r\nlate"));
  EXPECT_EQ(fetch(url("/x")), 0);
  EXPECT_EQ(body, "late");
  EXPECT_EQ(response.expectedContentLength, -1);
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

TEST_F(UrlLoading, EmptyAndLongBodies) {
  server.serve(kHost, "/x", Reply::text(""));
  test::writeFile(destination, "good");
  EXPECT_EQ(download(url("/x")), number(UrlErrorCode::zeroByteResource));
  EXPECT_EQ(test::readFile(destination), "good");
  EXPECT_EQ(fetch(url("/x"), 0), 0);
  EXPECT_EQ(body, "");

  server.serve(kHost, "/x", Reply::text("12345"));
  EXPECT_EQ(fetch(url("/x"), 5), 0);
  EXPECT_EQ(fetch(url("/x"), 4), number(UrlErrorCode::dataLengthExceedsMaximum));
  EXPECT_EQ(body, "");
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
  EXPECT_EQ(download(url("/x")), number(UrlErrorCode::cannotDecodeContentData));

  EXPECT_EQ(server.requests().at(0).headers.count("accept-encoding"), 1u);
  EXPECT_EQ(server.requests().at(1).headers.count("accept-encoding"), 0u);
  reply.body = "no gzip";
  server.serve(kHost, "/x", reply);
  EXPECT_EQ(fetch(url("/x")), number(UrlErrorCode::badServerResponse));
}

TEST_F(UrlLoading, CredentialsAreSentWhenAskedForAndThere) {
  Reply challenge = Reply::withStatus(401, "who?");
  challenge.headers["WWW-Authenticate"] = "Basic charset=\"UTF-8\", realm=\"a \\\"b\\\", c\"";
  const std::vector<Reply> dialogue = {challenge, Reply::text("welcome")};
  const std::string netrc = sandbox.home() + "/.netrc";

  server.serve(kHost, "/x", dialogue);
  EXPECT_EQ(download(url("/x")), 0);
  EXPECT_EQ(test::readFile(destination), "who?") << "no credentials: the answer as it is";
  EXPECT_EQ(recorder.space.authenticationMethod, "NSURLAuthenticationMethodHTTPBasic");
  EXPECT_EQ(recorder.space.host, kHost);
  EXPECT_FALSE(recorder.space.isProxy);
  EXPECT_EQ(recorder.space.port, 443);
  EXPECT_EQ(recorder.space.protocol, "https");
  EXPECT_EQ(recorder.space.realm, "a \"b\", c");

  test::writeFile(netrc, "machine good.example login me password secret\n");
  server.serve(kHost, "/x", dialogue);
  EXPECT_EQ(download(url("/x")), 0);
  EXPECT_EQ(test::readFile(destination), "welcome");
  EXPECT_EQ(server.requests().at(1).headers.count("authorization"), 0u);
  EXPECT_EQ(server.requests().at(2).headers.at("authorization"), "Basic bWU6c2VjcmV0");
  EXPECT_EQ(fetch(url("/x")), 0);

  server.serve(kHost, "/x", challenge);
  EXPECT_EQ(fetch(url("/x")), 0);
  EXPECT_EQ(body, "who?") << "credentials that do not fit are sent once";

  recorder.acceptsChallenge = false;
  server.serve(kHost, "/x", dialogue);
  EXPECT_EQ(download(url("/x")), 0);
  EXPECT_EQ(test::readFile(destination), "who?");
}

TEST_F(UrlLoading, AFailureKeepsTheGoodFile) {
  server.serve(kHost, "/x", Reply::text("0123456789").endingAfter(5, Ending::closed));
  test::writeFile(destination, "good");
  EXPECT_EQ(download(url("/x")), number(UrlErrorCode::networkConnectionLost));
  EXPECT_EQ(test::readFile(destination), "good");
  EXPECT_THAT(files(), ElementsAre("file"));

  server.serve(kHost, "/x", Reply::text("better"));
  EXPECT_EQ(download(url("/x"), false), number(UrlErrorCode::cannotCreateFile));
  EXPECT_EQ(test::readFile(destination), "good");
}

TEST_F(UrlLoading, APartialFileStaysWhenAsked) {
  server.serve(kHost, "/x", Reply::text("0123456789").endingAfter(5, Ending::closed));
  EXPECT_EQ(download(url("/x"), true, false), number(UrlErrorCode::networkConnectionLost));
  EXPECT_EQ(test::readFile(destination), "01234");
}

TEST_F(UrlLoading, FilesThatCannotBeWritten) {
  server.serve(kHost, "/x", Reply::text(std::string(100'000, 'x')));

  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small{.rlim_cur = 10'000, .rlim_max = before.rlim_max};
  const auto handler = signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &small);
  EXPECT_EQ(download(url("/x")), number(UrlErrorCode::cannotWriteToFile));
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
  EXPECT_EQ(download(url("/x")), number(UrlErrorCode::cannotMoveFile));
  EXPECT_THAT(files(), ElementsAre("file"));
  recorder.onCreated = nullptr;

  EXPECT_EQ(download(url("/x")), number(UrlErrorCode::cannotOpenFile)) << "a folder";
  destination = folder / "missing/file";
  EXPECT_EQ(download(url("/x")), number(UrlErrorCode::cannotCreateFile));
  destination = "";
  EXPECT_EQ(download(url("/x")), number(UrlErrorCode::cannotCreateFile));
}

TEST_F(UrlLoading, DestroyingADownloadStopsIt) {
  server.serve(kHost, "/x", Reply::text("0123456789").endingAfter(5, Ending::stalled));
  auto running = platform::UrlDownload::start(request(url("/x")), recorder);
  running->setDestination(destination, true);
  running->setDeletesFileUponFailure(true);
  EXPECT_EQ(platform::UrlDownload::start(request(url("/x")), recorder), nullptr) << "one at a time";
  while (recorder.bytes == 0)
    ASSERT_TRUE(platform::RunLoop::current().runOnce(platform::distantFuture()));
  EXPECT_THAT(files(), ElementsAre("file"));

  const auto before = platform::now();
  EXPECT_TRUE(platform::RunLoop::current().runOnce(before + 50ms)) << "the deadline ends a run";
  EXPECT_GE(platform::now(), before + 50ms);
  running.reset();
  EXPECT_EQ(files(), std::vector<std::string>());
  EXPECT_FALSE(platform::RunLoop::current().runOnce(platform::distantFuture()));
  EXPECT_EQ(recorder.ends, 0);
}

}  // namespace
