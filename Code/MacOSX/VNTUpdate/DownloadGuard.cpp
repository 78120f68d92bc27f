#include "Code/MacOSX/VNTUpdate/DownloadGuard.h"

#include "Code/Common/TrustedServers.h"
#include "platform/Url.h"
#include "runtime/Code/ZRLog.h"

bool mayDownloadFrom(const std::string& url) {
  const auto parsed = platform::Url::parse(url);
  const char* scheme = parsed ? parsed->scheme() : nullptr;
  const char* host = parsed ? parsed->host() : nullptr;
  if (!isSafeScheme(scheme)) {
    zrrt::log(ZRLogLevel::eError, "The url scheme '%s' is not safe. Aborting the download.",
              scheme != nullptr ? scheme : "(null)");
    return false;
  }
  if (!isTrustedServer(host)) {
    zrrt::log(ZRLogLevel::eError, "Server '%s' is not trusted. Aborting the download.",
              host != nullptr ? host : "(null)");
    return false;
  }
  return true;
}
