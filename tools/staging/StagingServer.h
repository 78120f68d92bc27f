#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// @file
/// An HTTPS server on 127.0.0.1 with throw-away certificates for any host names, and an HTTP CONNECT proxy in
/// front of it: a program with compiled-in hosts talks to it through `https_proxy` and `SSL_CERT_FILE`.
///
///     staging::Server server({.hosts = staging::hosts({"updates.vantora.example"})});
///     server.serve("updates.vantora.example", "/config.json", staging::Reply::text("{}"));
///     runAgent(server.environment());

namespace staging {

/// What is wrong with a host's certificate.
enum class Certificate { good, expired, notYetValid, selfSigned, unknownIssuer, wrongHost };

/// How a host meets a client that comes through the proxy, before any HTTP.
enum class Handshake {
  regular,
  refused,             ///< the proxy answers 403 to CONNECT
  challenged,          ///< the proxy answers 407 to CONNECT, with challenges "Negotiate" and "Basic"
  reset,               ///< RST after the client's first message
  stalled,             ///< never answers
  alert,               ///< a TLS alert
  certificateRefused,  ///< the TLS alert that a client gets whose certificate does not please
  certificateWanted,   ///< TLS 1.3 with a certificate of the client's, or not at all
  certificateWantedByTls12,
  plainText  ///< HTTP without TLS
};

struct Host {
  std::string name;
  Certificate certificate = Certificate::good;
  Handshake handshake = Handshake::regular;
};

/// Good hosts with these names.
[[nodiscard]] std::vector<Host> hosts(const std::vector<std::string>& names);
/// The hosts that a stock agent talks to, all good.
[[nodiscard]] std::vector<Host> agentHosts();

/// How an answer ends.
enum class Ending {
  regular,  ///< after the whole body; the connection is kept for the next request
  closed,   ///< an orderly close
  cut,      ///< the connection is closed without the closing message of TLS
  reset,    ///< RST
  stalled   ///< nothing more is sent; the connection stays open
};

/// An answer. The makers below give the usual ones; change fields for the rest.
struct Reply {
  int status = 200;
  std::map<std::string, std::string> headers = {};
  std::string body = {};
  std::string file = {};  ///< path; sent as the body when not empty, read anew each time
  std::optional<std::uint64_t> announcedLength = {};  ///< a Content-Length that differs from the body's
  std::optional<std::string> raw = {};                ///< sent instead of all of the above
  Ending ending = Ending::regular;
  std::optional<std::uint64_t> endAfter =
      {};                              ///< bytes of the body (or of `raw`) before the ending; else all
  std::chrono::milliseconds pause{0};  ///< before each byte of the body (or of `raw`); 0: sent as one

  [[nodiscard]] static Reply text(std::string body);
  [[nodiscard]] static Reply fromFile(std::string path);
  [[nodiscard]] static Reply redirect(std::string location, int status = 302);
  [[nodiscard]] static Reply withStatus(int status, std::string body = {});
  /// Any bytes, not necessarily HTTP, then an orderly close. No bytes: a connection closed without an answer.
  [[nodiscard]] static Reply bytes(std::string raw);
  /// Chunked, with a second chunk whose length is no number.
  [[nodiscard]] static Reply badChunk();
  /// This answer, ended after `bytes` of its body.
  [[nodiscard]] Reply endingAfter(std::uint64_t bytes, Ending how) const;
  /// This answer, byte by byte with a pause before each.
  [[nodiscard]] Reply trickling(std::chrono::milliseconds eachPause) const;
};

/// A request that arrived.
struct Request {
  std::string method;
  std::string host;  ///< from the Host header, without port
  std::string path;  ///< with the query
  std::string userAgent;
  std::map<std::string, std::string> headers;  ///< names in lower case
  int status = 0;                              ///< answered; 0 for `Reply::raw`
  std::uint64_t bodyBytes = 0;                 ///< of the answer, as far as it was handed to the system
};

/// A request that a strict server waits for.
struct Expected {
  std::string host;
  std::string path;
  std::string method = "GET";
};

struct ServerOptions {
  std::vector<Host> hosts = agentHosts();
  std::uint16_t port = 0;       ///< of the HTTPS server; 0: the system chooses
  std::uint16_t proxyPort = 0;  ///< of the proxy; 0: the system chooses
  std::string logFile = {};     ///< one line a request is appended; empty: none
};

class Server {
 public:
  /// Makes certificates, listens, and serves from threads of its own. Throws std::exception's descendants
  /// when a port is taken or the system refuses something. CONNECT to an unlisted host is refused with 502.
  explicit Server(const ServerOptions& options = {});
  /// Stops.
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  /// Answers `path` (without query) of `host` in this way. May be called at any time; the last call counts.
  void serve(const std::string& host, const std::string& path, Reply reply);
  /// Answers one after the other; the last one stays.
  void serve(const std::string& host, const std::string& path, std::vector<Reply> replies);
  /// What no `serve` answers is looked for below `folder`, as the path (percent-decoded) says; 404 when it is
  /// not there, or would lie outside the folder.
  void serveFolder(const std::string& host, const std::string& folder);
  /// From now on exactly these requests are expected, in this order. Each one is answered all the same.
  void expect(std::vector<Expected> requests);

  /// "GET https://host/path" lines: what came and was not expected next, and what was expected and has not
  /// come.
  [[nodiscard]] std::vector<std::string> unexpectedRequests() const;
  [[nodiscard]] std::vector<std::string> missingRequests() const;
  /// Everything so far, in the order of arrival.
  [[nodiscard]] std::vector<Request> requests() const;

  /// How many connections were made so far, to the proxy and to the HTTPS server.
  [[nodiscard]] std::size_t connections() const;

  [[nodiscard]] std::uint16_t port() const;
  /// "http://127.0.0.1:12345"
  [[nodiscard]] std::string proxyUrl() const;
  /// The PEM file with the certificate authority that clients are to trust; removed at the end.
  [[nodiscard]] const std::string& caFile() const;
  /// `https_proxy` and `SSL_CERT_FILE` for a client; `no_proxy` and `NO_PROXY` are emptied.
  [[nodiscard]] std::map<std::string, std::string> environment() const;

  /// Ends all connections and threads within a second. Idempotent.
  void stop();

 private:
  class Implementation;
  std::unique_ptr<Implementation> _implementation;
};

}  // namespace staging
