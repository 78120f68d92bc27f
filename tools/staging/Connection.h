#pragma once

#include <memory>
#include <vector>

#include "tools/staging/Site.h"
#include "tools/staging/StagingServer.h"

namespace staging {

class CertificateAuthority;

/// The hosts that a server answers for, with their certificates.
class TlsHosts {
 public:
  struct Data;

  TlsHosts(const std::vector<Host>& hosts, const CertificateAuthority& authority);
  ~TlsHosts();
  [[nodiscard]] Data& data() const { return *_data; }

 private:
  std::unique_ptr<Data> _data;
};

/// One client, served by a thread of its own until it goes or is cut off.
class Connection {
 public:
  /// Takes the socket over. The client speaks to the proxy first, or at once to the server.
  [[nodiscard]] static std::unique_ptr<Connection> start(int socket, bool throughProxy, Site& site,
                                                         const TlsHosts& hosts);
  Connection() = default;
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  /// Cuts off, and waits for the thread.
  virtual ~Connection() = default;

  [[nodiscard]] virtual bool hasEnded() const = 0;
  /// Makes whatever the thread waits for fail. Any thread.
  virtual void cutOff() = 0;
};

}  // namespace staging
