#include "tools/support/Listener.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace tools {
namespace {

void check(bool succeeded, const char* what) {
  if (!succeeded) throw std::system_error(errno, std::generic_category(), what);
}

/// Not every system has it in one step. Nothing here starts a program in between.
int keptFromPrograms(int descriptor) {
  if (descriptor >= 0) ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
  return descriptor;
}

}  // namespace

Listener::Listener(std::uint16_t port, Take take)
    : _socket(keptFromPrograms(::socket(AF_INET, SOCK_STREAM, 0))), _port(port), _take(std::move(take)) {
  check(_socket >= 0, "socket");
  try {
    bind();
    _thread = std::thread([this] { run(); });
  } catch (...) {
    ::close(_socket);
    throw;
  }
}

/// What makes a waiting accept return differs from system to system; a connection does everywhere.
Listener::~Listener() {
  _isEnding = true;
  ::shutdown(_socket, SHUT_RDWR);
  const int waker = keptFromPrograms(::socket(AF_INET, SOCK_STREAM, 0));
  const sockaddr_in here = address();
  ::connect(waker, reinterpret_cast<const sockaddr*>(&here), sizeof here);
  _thread.join();
  ::close(waker);
  ::close(_socket);
}

sockaddr_in Listener::address() const {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(_port);
  return address;
}

void Listener::bind() {
  const int yes = 1;
  setsockopt(_socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
  sockaddr_in bound = address();
  socklen_t size = sizeof(bound);
  check(::bind(_socket, reinterpret_cast<sockaddr*>(&bound), size) == 0, "bind");
  check(::listen(_socket, SOMAXCONN) == 0, "listen");
  check(::getsockname(_socket, reinterpret_cast<sockaddr*>(&bound), &size) == 0, "getsockname");
  _port = ntohs(bound.sin_port);
}

void Listener::run() {
  for (;;) {
    const int client = keptFromPrograms(::accept(_socket, nullptr, nullptr));
    if (_isEnding) {
      if (client >= 0) ::close(client);
      return;
    }
    if (client >= 0) {
      _take(client);
    } else if (errno != EINTR && errno != ECONNABORTED) {
      return;
    }
  }
}

}  // namespace tools
