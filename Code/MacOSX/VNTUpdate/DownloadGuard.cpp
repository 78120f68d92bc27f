#include "Code/MacOSX/VNTUpdate/DownloadGuard.h"

#include "Code/Common/TrustedServers.h"
#include "runtime/Code/ZRLog.h"

bool mayDownloadFrom(const std::string& url) {
  const UrlTrust trust = examineUrl(url);
  if (!trust.isSafe) {
    zrrt::log(ZRLogLevel::eError, "The url scheme '%s' is not safe. Aborting the download.",
              trust.scheme.c_str());
    return false;
  }
  if (!trust.isTrusted) {
    zrrt::log(ZRLogLevel::eError, "Server '%s' is not trusted. Aborting the download.", trust.host.c_str());
    return false;
  }
  return true;
}
