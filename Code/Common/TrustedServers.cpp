#include "Code/Common/TrustedServers.h"

#include <algorithm>
#include <string_view>

#include "Code/Common/ServerConfiguration.h"
#include "platform/Text.h"
#include "platform/Url.h"

namespace {

bool matches(std::string_view host, std::string_view entry) {
  if (!entry.starts_with('.')) return platform::equalIgnoringCase(host, entry);
  return host.size() > entry.size() &&
         platform::equalIgnoringCase(host.substr(host.size() - entry.size()), entry);
}

}  // namespace

bool isSafeScheme(const char* scheme) {
  return scheme != nullptr && platform::equalIgnoringCase(scheme, "https");
}

bool isTrustedServer(const char* host) {
  return host != nullptr &&
         std::any_of(configuration::kTrustedServers.begin(), configuration::kTrustedServers.end(),
                     [host](const char* entry) { return matches(host, entry); });
}

UrlTrust examineUrl(const std::string& text) {
  const auto url = platform::Url::parse(text);
  const char* scheme = url ? url->scheme() : nullptr;
  const char* host = url ? url->host() : nullptr;
  return {isSafeScheme(scheme), isTrustedServer(host), scheme != nullptr ? scheme : "(null)",
          host != nullptr ? host : "(null)"};
}
