#include "tools/staging/StagingServer.h"

#include <atomic>
#include <list>
#include <mutex>

#include "tools/staging/Certificates.h"
#include "tools/staging/Connection.h"
#include "tools/staging/Site.h"
#include "tools/support/Files.h"
#include "tools/support/Listener.h"
#include "tools/support/TemporaryFolder.h"

namespace staging {

class Server::Implementation {
 public:
  explicit Implementation(const ServerOptions& options);
  ~Implementation() { stop(); }
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;

  void stop();
  [[nodiscard]] Site& site() { return _site; }
  [[nodiscard]] const std::string& caFile() const { return _caFile; }
  [[nodiscard]] std::size_t connections() const { return _accepted; }
  [[nodiscard]] std::uint16_t port() const { return _port; }
  [[nodiscard]] std::uint16_t proxyPort() const { return _proxyPort; }

 private:
  [[nodiscard]] std::uint16_t listen(std::uint16_t port, bool throughProxy);
  void take(int socket, bool throughProxy);

  Site _site;
  CertificateAuthority _authority;
  tools::TemporaryFolder _folder;
  const std::string _caFile = _folder / "ca.pem";
  TlsHosts _hosts;
  std::mutex _mutex;
  std::list<std::unique_ptr<Connection>> _connections;
  std::atomic<std::size_t> _accepted = 0;
  std::list<tools::Listener> _listeners;
  std::uint16_t _port;
  std::uint16_t _proxyPort;
};

Server::Implementation::Implementation(const ServerOptions& options)
    : _site(options.logFile), _hosts(options.hosts, _authority) {
  tools::writeFile(_caFile, _authority.certificate());
  _port = listen(options.port, false);
  _proxyPort = listen(options.proxyPort, true);
}

std::uint16_t Server::Implementation::listen(std::uint16_t port, bool throughProxy) {
  _listeners.emplace_back(port, [this, throughProxy](int socket) { take(socket, throughProxy); });
  return _listeners.back().port();
}

void Server::Implementation::take(int socket, bool throughProxy) {
  ++_accepted;
  const std::lock_guard lock(_mutex);
  _connections.remove_if([](const auto& connection) { return connection->hasEnded(); });
  _connections.push_back(Connection::start(socket, throughProxy, _site, _hosts));
}

void Server::Implementation::stop() {
  _listeners.clear();  // without the lock, which a listener may be waiting for
  const std::lock_guard lock(_mutex);
  for (const auto& connection : _connections)
    connection->cutOff();
  _connections.clear();
}

Server::Server(const ServerOptions& options) : _implementation(std::make_unique<Implementation>(options)) {}

Server::~Server() = default;

void Server::serve(const std::string& host, const std::string& path, Reply reply) {
  serve(host, path, std::vector<Reply>{std::move(reply)});
}

void Server::serve(const std::string& host, const std::string& path, std::vector<Reply> replies) {
  _implementation->site().serve(host, path, std::move(replies));
}

void Server::serveFolder(const std::string& host, const std::string& folder) {
  _implementation->site().serveFolder(host, folder);
}

void Server::expect(std::vector<Expected> requests) {
  _implementation->site().expect(std::move(requests));
}

std::vector<std::string> Server::unexpectedRequests() const {
  return _implementation->site().unexpectedRequests();
}

std::vector<std::string> Server::missingRequests() const {
  return _implementation->site().missingRequests();
}

std::vector<Request> Server::requests() const {
  return _implementation->site().requests();
}

std::size_t Server::connections() const {
  return _implementation->connections();
}

std::uint16_t Server::port() const {
  return _implementation->port();
}

std::string Server::proxyUrl() const {
  return "http://127.0.0.1:" + std::to_string(_implementation->proxyPort());
}

const std::string& Server::caFile() const {
  return _implementation->caFile();
}

std::map<std::string, std::string> Server::environment() const {
  return {{"https_proxy", proxyUrl()}, {"SSL_CERT_FILE", caFile()}, {"no_proxy", ""}, {"NO_PROXY", ""}};
}

void Server::stop() {
  _implementation->stop();
}

}  // namespace staging
