#include "Code/Common/TrustedServers.h"

#include <algorithm>
#include <string_view>

#include "Code/Common/ServerConfiguration.h"
#include "platform/Url.h"

namespace {

/// ASCII only, whatever the locale.
char lowered(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return lowered(x) == lowered(y); });
}

bool matches(std::string_view host, std::string_view entry) {
  if (!entry.starts_with('.')) return equalsIgnoringCase(host, entry);
  return host.size() > entry.size() && equalsIgnoringCase(host.substr(host.size() - entry.size()), entry);
}

}  // namespace

bool isSafeScheme(const char* scheme) {
  return scheme != nullptr && equalsIgnoringCase(scheme, "https");
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
