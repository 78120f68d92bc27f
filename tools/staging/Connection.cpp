#include "tools/staging/Connection.h"

#include <sys/socket.h>

#include <utility>  // Asio uses it without including it

#include <algorithm>
#include <array>
#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <mutex>
#include <thread>

#include "tools/staging/Certificates.h"

namespace staging {
namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using asio::ip::tcp;
using boost::system::error_code;
using TlsContext = asio::ssl::context;
using TlsStream = asio::ssl::stream<tcp::socket&>;
using HttpRequest = http::request<http::empty_body>;
using Contexts = std::map<std::string, std::unique_ptr<TlsContext>>;

constexpr std::size_t kChunkSize = 256 * 1024;

std::unique_ptr<TlsContext> makeContext(const certificates::Identity& identity) {
  auto context = std::make_unique<TlsContext>(TlsContext::tls_server);
  context->use_certificate_chain(asio::buffer(identity.certificate));
  context->use_private_key(asio::buffer(identity.privateKey), TlsContext::pem);
  return context;
}

/// Shows the certificate of the host that the client names.
int selectHost(SSL* connection, int* /*alert*/, void* contextsByName) {
  const char* name = SSL_get_servername(connection, TLSEXT_NAMETYPE_host_name);
  if (name == nullptr) return SSL_TLSEXT_ERR_OK;
  const auto& contexts = *static_cast<const Contexts*>(contextsByName);
  const auto found = contexts.find(name);
  if (found == contexts.end()) return SSL_TLSEXT_ERR_ALERT_FATAL;
  SSL_set_SSL_CTX(connection, found->second->native_handle());
  return SSL_TLSEXT_ERR_OK;
}

std::string nameOf(const std::string& hostAndPort) {
  return hostAndPort.substr(0, hostAndPort.rfind(':'));
}

Request describe(const HttpRequest& message) {
  Request request;
  request.method = std::string(message.method_string());
  request.host = nameOf(std::string(message[http::field::host]));
  request.path = std::string(message.target());
  request.userAgent = std::string(message[http::field::user_agent]);
  for (const auto& field : message) {
    std::string name(field.name_string());
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    request.headers[name] = std::string(field.value());
  }
  return request;
}

std::uint64_t bodyLength(const Reply& reply) {
  return reply.file.empty() ? reply.body.size() : std::filesystem::file_size(reply.file);
}

std::string head(const Reply& reply, bool keepsConnection) {
  const auto reason = http::obsolete_reason(http::int_to_status(static_cast<unsigned>(reply.status)));
  std::string text = "HTTP/1.1 " + std::to_string(reply.status) + " " + std::string(reason) + "\r\n";
  const std::uint64_t length = reply.announcedLength.value_or(bodyLength(reply));
  if (reply.headers.count("Transfer-Encoding") == 0) {
    text += "Content-Length: " + std::to_string(length) + "\r\n";
  }
  for (const auto& [name, value] : reply.headers)
    text.append(name).append(": ").append(value).append("\r\n");
  if (!keepsConnection) text += "Connection: close\r\n";
  return text + "\r\n";
}

}  // namespace

struct TlsHosts::Data {
  std::map<std::string, Host> hosts;
  Contexts contexts;
  TlsContext unnamed{TlsContext::tls_server};  ///< of a connection until the client has named a host
};

TlsHosts::TlsHosts(const std::vector<Host>& hosts, const CertificateAuthority& authority)
    : _data(std::make_unique<Data>()) {
  for (const Host& host : hosts) {
    _data->hosts[host.name] = host;
    _data->contexts[host.name] = makeContext(authority.issue(host.name, host.certificate));
  }
  SSL_CTX* context = _data->unnamed.native_handle();
  SSL_CTX_callback_ctrl(context, SSL_CTRL_SET_TLSEXT_SERVERNAME_CB,
                        reinterpret_cast<void (*)()>(&selectHost));
  SSL_CTX_set_tlsext_servername_arg(context, &_data->contexts);
}

TlsHosts::~TlsHosts() = default;

namespace {

/// One client, served by a thread of its own until it goes or is cut off.
class SocketConnection final : public Connection {
 public:
  SocketConnection(int socket, bool throughProxy, Site& site, TlsHosts::Data& hosts)
      : _socket(_context, tcp::v4(), socket),
        _site(site),
        _hosts(hosts),
        _thread([this, throughProxy] { run(throughProxy); }) {}
  ~SocketConnection() override {
    cutOff();
    _thread.join();
  }

  [[nodiscard]] bool hasEnded() const override { return _ended; }
  void cutOff() override;

 private:
  void run(bool throughProxy);
  void close();
  void reset();
  void waitForPeer();

  void serveProxy();
  void refuse(http::status status, std::string_view headers = {});
  void meet(const Host& host);
  void serveTls(Handshake handshake);
  void shakeHands(TlsStream& stream, Handshake handshake);
  void readSome();
  void sendAndLeave(std::string_view bytes);
  [[nodiscard]] bool serveRequest(TlsStream& stream, boost::beast::flat_buffer& buffer);
  [[nodiscard]] bool send(TlsStream& stream, const Reply& reply, std::size_t request, bool withBody,
                          bool keepsConnection);
  void sendBody(TlsStream& stream, const Reply& reply, std::size_t request);
  void sendText(TlsStream& stream, std::string_view text, std::size_t request);
  void sendFile(TlsStream& stream, const std::string& path, std::uint64_t limit, std::size_t request);
  [[nodiscard]] bool end(TlsStream& stream, Ending ending);

  asio::io_context _context;
  tcp::socket _socket;
  std::mutex _closing;  // the socket's number is not to be used once it is closed
  Site& _site;
  TlsHosts::Data& _hosts;
  std::atomic<bool> _ended = false;
  std::thread _thread;
};

void SocketConnection::run(bool throughProxy) {
  try {
    _socket.set_option(tcp::no_delay(true));
    if (throughProxy) {
      serveProxy();
    } else {
      serveTls(Handshake::regular);
    }
  } catch (const std::exception&) {
    // The client went away, or does not like our certificate: nothing that a server would stop for.
  }
  close();
  _ended = true;
}

void SocketConnection::cutOff() {
  const std::lock_guard lock(_closing);
  if (_socket.is_open()) ::shutdown(_socket.native_handle(), SHUT_RDWR);
}

void SocketConnection::close() {
  const std::lock_guard lock(_closing);
  error_code ignored;
  _socket.close(ignored);
}

void SocketConnection::reset() {
  _socket.set_option(asio::socket_base::linger(true, 0));
  close();
}

void SocketConnection::waitForPeer() {
  std::array<char, 1024> unread{};
  error_code error;
  while (!error)
    _socket.read_some(asio::buffer(unread), error);
}

void SocketConnection::serveProxy() {
  boost::beast::flat_buffer buffer;
  HttpRequest request;
  http::read(_socket, buffer, request);
  if (request.method() != http::verb::connect) return refuse(http::status::not_implemented);
  const auto found = _hosts.hosts.find(nameOf(std::string(request.target())));
  if (found == _hosts.hosts.end()) return refuse(http::status::bad_gateway);
  meet(found->second);
}

void SocketConnection::refuse(http::status status, std::string_view headers) {
  const std::string text = "HTTP/1.1 " + std::to_string(static_cast<unsigned>(status)) + " " +
                           std::string(http::obsolete_reason(status)) + "\r\n" + std::string(headers) +
                           "Content-Length: 0\r\n\r\n";
  asio::write(_socket, asio::buffer(text));
}

/// The proxy and the server are one program: the connection to the proxy becomes the one to the server.
void SocketConnection::meet(const Host& host) {
  constexpr std::string_view kChallenges =
      "Proxy-Authenticate: Negotiate\r\nProxy-Authenticate: Basic realm=\"way out\"\r\n";
  if (host.handshake == Handshake::refused) return refuse(http::status::forbidden);
  if (host.handshake == Handshake::challenged) {
    return refuse(http::status::proxy_authentication_required, kChallenges);
  }
  asio::write(_socket, asio::buffer(std::string_view("HTTP/1.1 200 Connection established\r\n\r\n")));
  switch (host.handshake) {
    case Handshake::reset:
      readSome();
      return reset();
    case Handshake::stalled:
      return waitForPeer();
    case Handshake::alert:
      return sendAndLeave({"\x15\x03\x03\x00\x02\x02\x28", 7});  // fatal, handshake failure
    case Handshake::certificateRefused:
      return sendAndLeave({"\x15\x03\x03\x00\x02\x02\x2a", 7});  // fatal, bad certificate
    case Handshake::plainText:
      return sendAndLeave("HTTP/1.1 400 Bad Request\r\n\r\n");
    default:
      return serveTls(host.handshake);
  }
}

void SocketConnection::readSome() {
  std::array<char, 4096> hello{};
  _socket.read_some(asio::buffer(hello));
}

/// Answers the client's first message with these bytes, whatever it was.
void SocketConnection::sendAndLeave(std::string_view bytes) {
  readSome();
  asio::write(_socket, asio::buffer(bytes));
  _socket.shutdown(tcp::socket::shutdown_send);
  waitForPeer();
}

void SocketConnection::serveTls(Handshake handshake) {
  TlsStream stream(_socket, _hosts.unnamed);
  shakeHands(stream, handshake);
  boost::beast::flat_buffer buffer;
  while (serveRequest(stream, buffer)) {
  }
}

void SocketConnection::shakeHands(TlsStream& stream, Handshake handshake) {
  if (handshake != Handshake::regular) {
    SSL_set_verify(stream.native_handle(), SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
  }
  if (handshake == Handshake::certificateWantedByTls12) {
    SSL_set_max_proto_version(stream.native_handle(), TLS1_2_VERSION);
  }
  error_code error;
  stream.handshake(asio::ssl::stream_base::server, error);
  if (!error) return;
  // A close with the client's bytes unread would take our alert away from it.
  _socket.shutdown(tcp::socket::shutdown_send);
  waitForPeer();
  throw boost::system::system_error(error);
}

bool SocketConnection::serveRequest(TlsStream& stream, boost::beast::flat_buffer& buffer) {
  HttpRequest message;
  error_code error;
  http::read(stream, buffer, message, error);
  if (error) return false;
  const auto [reply, request] = _site.answer(describe(message));
  const bool withBody = message.method() != http::verb::head;
  bool goesOn = false;
  try {
    goesOn = send(stream, reply, request, withBody, message.keep_alive());
  } catch (...) {
    _site.noteEnd(request);
    throw;
  }
  _site.noteEnd(request);
  return goesOn;
}

/// Whether the connection is good for another request.
bool SocketConnection::send(TlsStream& stream, const Reply& reply, std::size_t request, bool withBody,
                            bool keepsConnection) {
  if (!reply.raw) asio::write(stream, asio::buffer(head(reply, keepsConnection)));
  if (withBody) sendBody(stream, reply, request);
  if (reply.ending == Ending::regular && !keepsConnection) return end(stream, Ending::closed);
  return end(stream, reply.ending);
}

void SocketConnection::sendBody(TlsStream& stream, const Reply& reply, std::size_t request) {
  const std::uint64_t limit = reply.endAfter.value_or(std::numeric_limits<std::uint64_t>::max());
  if (!reply.raw && !reply.file.empty()) return sendFile(stream, reply.file, limit, request);
  std::string_view text = std::string_view(reply.raw ? *reply.raw : reply.body).substr(0, limit);
  if (reply.pause == std::chrono::milliseconds(0)) return sendText(stream, text, request);
  for (; !text.empty(); text.remove_prefix(1)) {
    std::this_thread::sleep_for(reply.pause);
    sendText(stream, text.substr(0, 1), request);
  }
}

void SocketConnection::sendText(TlsStream& stream, std::string_view text, std::size_t request) {
  _site.noteSent(request, text.size());
  if (!text.empty()) asio::write(stream, asio::buffer(text));
}

void SocketConnection::sendFile(TlsStream& stream, const std::string& path, std::uint64_t limit,
                                std::size_t request) {
  std::ifstream file(path, std::ios::binary);
  std::vector<char> chunk(kChunkSize);
  while (file && limit > 0) {
    file.read(chunk.data(), static_cast<std::streamsize>(std::min<std::uint64_t>(limit, chunk.size())));
    const auto count = static_cast<std::size_t>(file.gcount());
    sendText(stream, {chunk.data(), count}, request);
    limit -= count;
  }
}

bool SocketConnection::end(TlsStream& stream, Ending ending) {
  switch (ending) {
    case Ending::regular:
      return true;
    case Ending::closed:
      stream.shutdown();
      break;
    case Ending::cut:
      break;
    case Ending::reset:
      reset();
      break;
    case Ending::stalled:
      waitForPeer();
      break;
  }
  return false;
}

}  // namespace

std::unique_ptr<Connection> Connection::start(int socket, bool throughProxy, Site& site,
                                              const TlsHosts& hosts) {
  return std::make_unique<SocketConnection>(socket, throughProxy, site, hosts.data());
}

}  // namespace staging
