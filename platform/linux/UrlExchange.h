#pragma once

#include <chrono>
#include <memory>
#include <string_view>

#include "platform/UrlLoading.h"
#include "platform/linux/HttpTransfer.h"

namespace platform {

/// Decides about an exchange and receives what it brings, from within `UrlExchange::process`.
class UrlExchangeClient {
 public:
  virtual ~UrlExchangeClient() = default;
  /// Before each request; `redirect` is the answer that caused it, null for the first one.
  virtual UrlRequest willSendRequest(UrlRequest request, const UrlResponse* redirect) = 0;
  virtual bool mayUseCredentials(const ProtectionSpace& space) = 0;
  /// The final answer, then the pieces of its body; an error ends the exchange with it.
  virtual Error didReceiveResponse(const UrlResponse& response, const HttpHead& head) = 0;
  virtual Error didReceiveData(std::string_view bytes) = 0;
};

/// One request followed to its final answer: through redirects (20 at most), and once more with the
/// credentials of ~/.netrc when a server asks for them (Basic only; any other challenge is a final answer).
/// The "default" entry of that file is for the host of the first request alone, wherever redirects lead.
class UrlExchange : private HttpTransferSink {
 public:
  UrlExchange(UrlRequest request, bool asksForEncodings, UrlExchangeClient& client);

  /// Does the next step, which may be to wait for the network, `limit` at the longest.
  void process(std::chrono::milliseconds limit);
  [[nodiscard]] bool hasEnded() const { return _ended; }
  /// After the end: of the URL domain, or no error when the whole body has been handed over.
  [[nodiscard]] const Error& error() const { return _error; }

 private:
  using Clock = std::chrono::steady_clock;

  bool didReceiveHead(const HttpHead& head) override;
  bool didReceiveBody(std::string_view bytes) override;

  void startTransfer();
  [[nodiscard]] Error followRedirect(const HttpHead& head);
  [[nodiscard]] bool acceptsChallenge(const HttpHead& head);
  [[nodiscard]] Error announce(const HttpHead& head);
  void conclude();
  void end(Error error);

  UrlRequest _request;
  const std::string _firstHost;
  UrlExchangeClient& _client;
  const Clock::time_point _start = Clock::now();
  HttpTransfer::Options _options;
  std::unique_ptr<UrlResponse> _redirect;  // that caused the request to be sent next
  unsigned _redirectsFollowed = 0;
  bool _sendsAnother = false;   // the answer was a redirect, or a challenge that can be met
  Clock::time_point _drainEnd;  // when the rest of such an answer is given up
  std::int64_t _bodyBytes = 0;
  Error _error;
  bool _ended = false;
  std::unique_ptr<HttpTransfer> _transfer;
};

}  // namespace platform
