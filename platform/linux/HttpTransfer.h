#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Error.h"
#include "platform/UrlLoading.h"
#include "platform/linux/HttpCredentials.h"
#include "platform/linux/HttpMessage.h"

namespace platform {

/// Receives an answer, from within `HttpTransfer::process`.
class HttpTransferSink {
 public:
  virtual ~HttpTransferSink() = default;
  /// The head of the answer, once and before its body. Interim answers (1xx) and the trailers of a body are
  /// no heads. False ends the transfer, as it does below.
  virtual bool didReceiveHead(const HttpHead& head) = 0;
  virtual bool didReceiveBody(std::string_view bytes) = 0;
};

/// One GET request and its answer: no redirects, no second attempt, except where a connection that was kept
/// turns out to be closed, or brings no answer within the idle limit. Connections are kept for the later
/// requests of the thread, and with them addresses that were looked up (for 60 seconds) and the certificates
/// that are trusted (until the thread ends). Certificates are checked against `SSL_CERT_FILE` and
/// `SSL_CERT_DIR` where set; `https_proxy`, `http_proxy` and `no_proxy` are honoured.
class HttpTransfer {
 public:
  struct Options {
    bool asksForEncodings = false;                    ///< and decodes the body
    std::optional<HttpCredentials> credentials = {};  ///< sent at once (Basic)
    std::chrono::steady_clock::time_point deadline = std::chrono::steady_clock::time_point::max();
  };

  /// Fails (null, and `error`): unsupportedUrl for a scheme other than http and https; badUrl when there is
  /// no host, or when the network library reads another scheme, host or port from the text than `Url` does;
  /// unknown when the network library cannot be loaded.
  [[nodiscard]] static std::unique_ptr<HttpTransfer> start(const UrlRequest& request, const Options& options,
                                                           HttpTransferSink& sink, Error& error);

  virtual ~HttpTransfer() = default;

  /// Waits for something to happen, `limit` at the longest, and handles it.
  virtual void process(std::chrono::milliseconds limit) = 0;
  [[nodiscard]] virtual bool hasEnded() const = 0;
  /// After the end: no error, or one of the URL domain. Meaningless when the sink ended the transfer.
  [[nodiscard]] virtual const Error& error() const = 0;

  /// After the end: the answer of a proxy that wanted credentials before it opens the way to the server.
  [[nodiscard]] virtual std::optional<HttpHead> proxyChallenge() const = 0;
};

}  // namespace platform
