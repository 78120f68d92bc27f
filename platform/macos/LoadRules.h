#pragma once

#import "platform/macos/Foundation.h"

#include <cstdint>
#include <memory>
#include <utility>

#include "platform/UrlLoading.h"
#include "platform/macos/UrlRequests.h"

namespace platform {

/// What a request followed to its final answer keeps to, however the system loads it: redirects lead to http
/// and https alone, 20 at most, and the body is whole and no longer than allowed. Told of each step as it
/// comes, it answers an error where the exchange has to end.
class LoadRules {
 public:
  LoadRules(UrlRequest request, BodyEncoding encoding);

  /// The request that was sent last, or is to be sent.
  [[nodiscard]] const UrlRequest& request() const { return _request; }
  /// The answer that caused it; null for none.
  [[nodiscard]] const UrlResponse* redirect() const { return _redirect.get(); }
  /// Another request is to be sent instead.
  void setRequest(UrlRequest request) { _request = std::move(request); }

  /// The first request. Nil with `error` set: as `writeRequest` fails.
  [[nodiscard]] Retained<NSMutableURLRequest> makeRequest(Error& error) const;

  /// The system is about to send `proposed`, which `request()` then tells. Fails: badUrl, tooManyRedirects.
  [[nodiscard]] Error proceed(NSURLRequest* proposed, NSURLResponse* redirect);
  /// `request()` in its place. Nil with `error` set: as `writeRequest` fails.
  [[nodiscard]] NSURLRequest* changedRequest(NSURLRequest* proposed, Error& error) const;

  /// The final answer has come. Fails: dataLengthExceedsMaximum when it announces too long a body; badUrl or
  /// unsupportedUrl for a redirect that the system does not follow.
  [[nodiscard]] Error admit(NSURLResponse* answer);
  /// Bytes of its body have come. Fails: dataLengthExceedsMaximum.
  [[nodiscard]] Error count(std::uint64_t bytes);
  /// No more will come. Fails: networkConnectionLost when the announced length has not been reached.
  [[nodiscard]] Error conclude() const;

  [[nodiscard]] std::int64_t bodyBytes() const { return _bodyBytes; }

 private:
  UrlRequest _request;
  const BodyEncoding _encoding;
  std::unique_ptr<UrlResponse> _redirect;
  unsigned _redirectsFollowed = 0;
  std::int64_t _announcedBytes = 0;  // 0 when they say nothing about those that are counted
  std::int64_t _bodyBytes = 0;
};

}  // namespace platform
