#include "platform/UrlLoading.h"

#include <algorithm>

#include "platform/linux/UrlExchange.h"

namespace platform {
namespace {

/// Collects a body in memory.
class BodyCollector final : public UrlExchangeClient {
 public:
  BodyCollector(UrlResponse& response, std::string& body) : _response(response), _body(body) {}

  UrlRequest willSendRequest(UrlRequest request, const UrlResponse* redirect) override {
    if (redirect != nullptr) _response = *redirect;
    return request;
  }
  bool mayUseCredentials(const ProtectionSpace& /*space*/) override { return true; }
  Error didReceiveResponse(const UrlResponse& response, const HttpHead& /*head*/) override {
    _response = response;
    return {};
  }
  Error didReceiveData(std::string_view bytes) override {
    _body += bytes;
    return {};
  }

 private:
  UrlResponse& _response;
  std::string& _body;
};

}  // namespace

Error sendSynchronousRequest(const UrlRequest& request, std::uint64_t limitBytes, UrlResponse& response,
                             std::string& body) {
  body.clear();
  BodyCollector collector(response, body);
  UrlRequest limited = request;
  limited.sizeLimitBytes = std::min(limited.sizeLimitBytes, limitBytes);
  UrlExchange exchange(std::move(limited), true, collector);
  while (!exchange.hasEnded())
    exchange.process(std::chrono::hours(1));
  if (exchange.error()) body.clear();
  return exchange.error();
}

}  // namespace platform
