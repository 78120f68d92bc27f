#include "platform/linux/HttpProxy.h"

#include <cstdlib>

namespace platform {
namespace {

/// The value of a variable; empty when it is unset.
std::string environment(const char* name) {
  const char* value = getenv(name);
  return value != nullptr ? value : "";
}

std::string proxyAddress(const std::string& protocol) {
  std::string address = environment((protocol + "_proxy").c_str());
  // "HTTP_PROXY" does not count: a web server sets it from a header of a request.
  if (address.empty() && protocol == "https") address = environment("HTTPS_PROXY");
  if (address.empty()) address = environment("all_proxy");
  return address.empty() ? environment("ALL_PROXY") : address;
}

}  // namespace

std::optional<HttpSender> proxyFor(const Url& url) {
  constexpr std::uint16_t kUsualPort = 1080;
  const std::string address = proxyAddress(senderOf(url).protocol);
  const bool hasScheme = address.find("://") != std::string::npos;
  const auto proxy = Url::parse(hasScheme ? address : "http://" + address);
  if (!proxy || proxy->host() == nullptr) return std::nullopt;
  HttpSender sender = senderOf(*proxy);
  if (!proxy->port() && sender.protocol == "http") sender.port = kUsualPort;
  return sender;
}

}  // namespace platform
