#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "platform/Error.h"
#include "platform/UrlLoading.h"
#include "platform/linux/HttpMessage.h"

namespace platform {

/// An error of the URL domain.
[[nodiscard]] Error urlError(UrlErrorCode code, std::string description);

/// Receives an answer, from within `HttpTransfer::process`.
class HttpTransferSink {
 public:
  virtual ~HttpTransferSink() = default;
  /// False ends the transfer.
  virtual bool didReceiveBody(std::string_view bytes) = 0;
};

/// One GET request and its answer: no redirects, no second attempt. Certificates are checked against
/// `SSL_CERT_FILE` and `SSL_CERT_DIR` where set; `https_proxy`, `http_proxy` and `no_proxy` are honoured.
class HttpTransfer {
 public:
  struct Options {
    bool asksForEncodings = false;  ///< and decodes the body
    std::string netrcFile;          ///< credentials (Basic) for the host are taken from it; empty: none
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

  /// Null until the head of the answer is complete.
  [[nodiscard]] virtual const HttpHead* head() const = 0;
  /// After the end: whether a proxy wanted credentials before it opened the way to the server.
  [[nodiscard]] virtual bool isProxyChallenge() const = 0;
};

}  // namespace platform
