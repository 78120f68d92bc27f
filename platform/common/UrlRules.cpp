#include "platform/common/UrlRules.h"

#include "platform/Text.h"
#include "platform/common/UrlError.h"

namespace platform {
namespace {

constexpr unsigned kMaxRedirects = 20;

}  // namespace

bool isRedirectStatus(int status) {
  switch (status) {
    case 301:
    case 302:
    case 303:
    case 307:
    case 308:
      return true;
    default:
      return false;
  }
}

Error countRedirect(unsigned& followed) {
  if (++followed <= kMaxRedirects) return {};
  return urlError(UrlErrorCode::tooManyRedirects, "too many HTTP redirects");
}

Error checkLength(std::int64_t bytes, std::uint64_t limitBytes) {
  if (bytes < 0 || static_cast<std::uint64_t>(bytes) <= limitBytes) return {};
  return urlError(UrlErrorCode::dataLengthExceedsMaximum, "resource exceeds maximum size");
}

Error checkScheme(const Url& url) {
  const bool isSupported = url.scheme() != nullptr && (equalIgnoringCase(url.scheme(), "http") ||
                                                       equalIgnoringCase(url.scheme(), "https"));
  return isSupported ? Error() : urlError(UrlErrorCode::unsupportedUrl, "unsupported URL");
}

Error badUrlError() {
  return urlError(UrlErrorCode::badUrl, "bad URL");
}

Error checkHeader(const std::string& name, const std::string& value) {
  if ((name + value).find_first_of("\r\n") == std::string::npos) return {};
  return urlError(UrlErrorCode::badUrl, "A request header holds a line end.");
}

Error encodedBodyError() {
  return urlError(UrlErrorCode::cannotDecodeContentData,
                  "The body is encoded although no encoding was asked for.");
}

Error emptyBodyError() {
  return urlError(UrlErrorCode::zeroByteResource, "resource has no data");
}

}  // namespace platform
