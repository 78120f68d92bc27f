#include "tools/staging/Listener.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace staging {
namespace {

void check(bool succeeded, const char* what) {
  if (!succeeded) throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

Listener::Listener(std::uint16_t port, Take take)
    : _socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)), _port(port), _take(std::move(take)) {
  check(_socket >= 0, "socket");
  try {
    bind();
    _thread = std::thread([this] { run(); });
  } catch (...) {
    ::close(_socket);
    throw;
  }
}

Listener::~Listener() {
  ::shutdown(_socket, SHUT_RDWR);  // makes accept fail
  _thread.join();
  ::close(_socket);
}

void Listener::bind() {
  const int yes = 1;
  setsockopt(_socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(_port);
  socklen_t size = sizeof(address);
  check(::bind(_socket, reinterpret_cast<sockaddr*>(&address), size) == 0, "bind");
  check(listen(_socket, SOMAXCONN) == 0, "listen");
  check(getsockname(_socket, reinterpret_cast<sockaddr*>(&address), &size) == 0, "getsockname");
  _port = ntohs(address.sin_port);
}

void Listener::run() {
  for (;;) {
    const int client = accept4(_socket, nullptr, nullptr, SOCK_CLOEXEC);
    if (client >= 0) {
      _take(client);
    } else if (errno != EINTR && errno != ECONNABORTED) {
      return;
    }
  }
}

}  // namespace staging
