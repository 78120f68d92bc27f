#include "Code/MacOSX/VNTUpdate/DownloadGuard.h"

#include <array>
#include <cstdint>

#include "Code/Common/TrustedServers.h"
#include "runtime/Code/ZRLog.h"

namespace {

/// How the log tells that a URL may not be used.
struct Refusal {
  std::int32_t level;
  const char* consequence;
  bool givesBothReasons;  ///< else the first one
};
/// In the order of `UrlUse`.
constexpr std::array<Refusal, 3> kRefusals = {{{ZRLogLevel::eDebug, "Using default URL.", true},
                                               {ZRLogLevel::eDebug, "Aborting download.", false},
                                               {ZRLogLevel::eError, "Aborting the download.", false}}};

}  // namespace

bool mayUse(UrlUse use, const std::string& url) {
  const UrlTrust trust = examineUrl(url);
  const Refusal& refusal = kRefusals.at(static_cast<std::size_t>(use));
  if (!trust.isSafe) {
    zrrt::log(refusal.level, "The url scheme '%s' is not safe. %s", trust.scheme.c_str(),
              refusal.consequence);
  }
  if (!trust.isTrusted && (trust.isSafe || refusal.givesBothReasons)) {
    zrrt::log(refusal.level, "Server '%s' is not trusted. %s", trust.host.c_str(), refusal.consequence);
  }
  return trust.isSafe && trust.isTrusted;
}
