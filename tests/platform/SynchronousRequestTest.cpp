#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <map>
#include <string>

#include "platform/UrlLoading.h"
#include "tests/support/Environment.h"
#include "tools/support/Listener.h"

namespace {

using platform::UrlErrorCode;

/// A server without encryption, as any backend reaches it: no trust, no proxy and no name server take part.
class SynchronousRequest : public ::testing::Test {
 protected:
  /// Answers each request with the bytes for its path, and closes.
  void answer(int client) {
    std::string asked;
    std::array<char, 4096> piece{};
    while (asked.find("\r\n\r\n") == std::string::npos) {
      const ssize_t count = read(client, piece.data(), piece.size());
      if (count <= 0) break;
      asked.append(piece.data(), static_cast<std::size_t>(count));
    }
    const std::size_t path = asked.find(' ') + 1;
    const std::string& reply = answers[asked.substr(path, asked.find(' ', path) - path)];
    EXPECT_EQ(send(client, reply.data(), reply.size(), MSG_NOSIGNAL), static_cast<ssize_t>(reply.size()));
    close(client);
  }

  std::int64_t fetch(const std::string& path, std::uint64_t limitBytes = 1000) {
    const auto url = platform::Url::parse("http://127.0.0.1:" + std::to_string(server.port()) + path);
    return platform::sendSynchronousRequest({.url = *url}, limitBytes, response, body).code;
  }

  static std::int64_t number(UrlErrorCode code) { return static_cast<std::int64_t>(code); }

  test::Sandbox sandbox;
  test::ScopedEnvironment environment =
      test::ScopedEnvironment::with({{"http_proxy", ""}, {"all_proxy", ""}});
  std::map<std::string, std::string> answers;
  tools::Listener server{0, [this](int client) { answer(client); }};
  platform::UrlResponse response{.url = platform::Url::parse("none:").value()};
  std::string body = "left over";
};

TEST_F(SynchronousRequest, AnswersWhatTheServerSays) {
  const std::string close = "Connection: close\r\n";
  answers["/error"] = "HTTP/1.1 503 No\r\n" + close + "Content-Type: text/plain; charset=utf-8\r\n\r\nbody";
  EXPECT_EQ(fetch("/error"), 0);
  EXPECT_EQ(body, "body");
  EXPECT_EQ(response.statusCode, 503);
  EXPECT_EQ(response.mimeType, "text/plain");
  EXPECT_EQ(fetch("/error", 4), 0);
  EXPECT_EQ(fetch("/error", 3), number(UrlErrorCode::dataLengthExceedsMaximum)) << "as it comes";
  EXPECT_EQ(body, "");

  answers["/empty"] = "HTTP/1.1 200 OK\r\n" + close + "Content-Length: 0\r\n\r\n";
  EXPECT_EQ(fetch("/empty", 0), 0);
  answers["/announced"] = "HTTP/1.1 200 OK\r\n" + close + "Content-Length: 4000\r\n\r\n";
  EXPECT_EQ(fetch("/announced"), number(UrlErrorCode::dataLengthExceedsMaximum)) << "as it is announced";
  answers["/cut"] = "HTTP/1.1 200 OK\r\n" + close + "Content-Length: 10\r\n\r\nhalf";
  EXPECT_EQ(fetch("/cut"), number(UrlErrorCode::networkConnectionLost));
}

TEST_F(SynchronousRequest, FollowsRedirectsOnTheWebOnly) {
  const std::string found = "HTTP/1.1 302 Found\r\nConnection: close\r\nContent-Length: 0\r\nLocation: ";
  const std::string here = "http://127.0.0.1:" + std::to_string(server.port());
  answers["/there"] = "HTTP/1.1 200 OK\r\nConnection: close\r\n\r\nthere";
  answers["/once"] = found + here + "/there\r\n\r\n";
  answers["/again"] = found + here + "/again\r\n\r\n";
  answers["/file"] = found + "file:///etc/passwd\r\n\r\n";
  EXPECT_EQ(fetch("/once"), 0);
  EXPECT_EQ(body, "there");
  EXPECT_EQ(fetch("/again"), number(UrlErrorCode::tooManyRedirects));
  EXPECT_EQ(fetch("/file"), number(UrlErrorCode::unsupportedUrl));
}

}  // namespace
