#pragma once

#include <netinet/in.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <thread>

namespace tools {

/// A port of 127.0.0.1 on which connections are accepted by a thread of its own.
class Listener {
 public:
  /// Hands each connected socket to its taker, which closes it.
  using Take = std::function<void(int socket)>;

  /// Port 0 lets the system choose one. Throws std::system_error when the port cannot be had.
  Listener(std::uint16_t port, Take take);
  ~Listener();
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  [[nodiscard]] std::uint16_t port() const { return _port; }

 private:
  void bind();
  void run();
  [[nodiscard]] sockaddr_in address() const;

  int _socket;
  std::atomic<bool> _isEnding{false};
  std::uint16_t _port;
  Take _take;
  std::thread _thread;
};

}  // namespace tools
