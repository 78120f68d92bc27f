#include "Code/MacOSX/VNTUpdate/DownloadGuard.h"

#include <array>
#include <cstdint>

#include "Code/Common/TrustedServers.h"
#include "runtime/Code/ZRLog.h"

namespace {

/// How the log tells that a URL may not be used.
struct Refusal {
  std::int32_t level;
  const char* unsafe;     ///< of the scheme
  const char* untrusted;  ///< of the host
  bool givesBothReasons;  ///< else the first one
};
/// In the order of `UrlUse`.
constexpr std::array<Refusal, 3> kRefusals = {{
    {ZRLogLevel::eDebug, "The url scheme '%s' is not safe. Using default URL.",
     "Server '%s' is not trusted. Using default URL.", true},
    {ZRLogLevel::eDebug, "The url scheme '%s' is not safe. Aborting download.",
     "Server '%s' is not trusted. Aborting download.", false},
    {ZRLogLevel::eError, "The url scheme '%s' is not safe. Aborting the download.",
     "Server '%s' is not trusted. Aborting the download.", false},
}};

}  // namespace

bool mayUse(UrlUse use, const std::string& url) {
  const UrlTrust trust = examineUrl(url);
  const Refusal& refusal = kRefusals.at(static_cast<std::size_t>(use));
  if (!trust.isSafe) zrrt::log(refusal.level, refusal.unsafe, trust.scheme.c_str());
  if (!trust.isTrusted && (trust.isSafe || refusal.givesBothReasons)) {
    zrrt::log(refusal.level, refusal.untrusted, trust.host.c_str());
  }
  return trust.isSafe && trust.isTrusted;
}
