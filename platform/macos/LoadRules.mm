#import "platform/macos/LoadRules.h"

#include <algorithm>
#include <utility>

#include "platform/Text.h"
#include "platform/common/UrlRules.h"
#include "platform/macos/UrlErrors.h"

namespace platform {
namespace {

bool isRedirect(NSURLResponse* answer) {
  return [answer isKindOfClass:[NSHTTPURLResponse class]] &&
         isRedirectStatus(static_cast<int>([static_cast<NSHTTPURLResponse*>(answer) statusCode]));
}

/// An answer that sends the client where the system would not go.
Error unfollowedRedirect(const Url& url, NSURLResponse* answer) {
  const auto location = headerField(answer, "Location");
  if (!isRedirect(answer) || !location) return {};
  const auto target = url.resolve(*location);
  if (!target || target->scheme() == nullptr || lowerCase(target->scheme()).starts_with("http"))
    return urlError(UrlErrorCode::badUrl, "bad URL of a redirect");
  return urlError(UrlErrorCode::unsupportedUrl, "unsupported URL of a redirect");
}

/// The length of the body as it will be counted; 0 when that is not known.
std::int64_t announcedBodyBytes(NSURLResponse* answer) {
  const bool isEncoded = headerField(answer, "Content-Encoding").has_value();
  return isEncoded ? 0 : std::max<std::int64_t>([answer expectedContentLength], 0);
}

}  // namespace

LoadRules::LoadRules(UrlRequest request, BodyEncoding encoding)
    : _request(std::move(request)), _encoding(encoding) {}

Retained<NSMutableURLRequest> LoadRules::makeRequest(Error& error) const {
  Retained<NSMutableURLRequest> made([[NSMutableURLRequest alloc] init]);
  error = writeRequest(_request, _encoding, made.get());
  return error ? Retained<NSMutableURLRequest>() : std::move(made);
}

Error LoadRules::proceed(NSURLRequest* proposed, NSURLResponse* redirect) {
  _redirect.reset();
  if (redirect != nil) {
    UrlResponse answer;
    if (Error error = readResponse(redirect, answer)) return error;
    _redirect = std::make_unique<UrlResponse>(std::move(answer));
    if (Error error = countRedirect(_redirectsFollowed)) return error;
  }
  return readUrl([proposed URL], _request.url);
}

NSURLRequest* LoadRules::changedRequest(NSURLRequest* proposed, Error& error) const {
  NSMutableURLRequest* changed = [[proposed mutableCopy] autorelease];
  error = writeRequest(_request, _encoding, changed);
  return error ? nil : changed;
}

Error LoadRules::admit(NSURLResponse* answer) {
  if (Error error = unfollowedRedirect(_request.url, answer)) return error;
  _bodyBytes = 0;
  _announcedBytes = announcedBodyBytes(answer);
  return checkLength([answer expectedContentLength], _request.sizeLimitBytes);
}

Error LoadRules::count(std::uint64_t bytes) {
  _bodyBytes += static_cast<std::int64_t>(bytes);
  return checkLength(_bodyBytes, _request.sizeLimitBytes);
}

Error LoadRules::conclude() const {
  if (_bodyBytes >= _announcedBytes) return {};
  return urlError(UrlErrorCode::networkConnectionLost,
                  "The connection was closed in the body of the answer.");
}

}  // namespace platform
