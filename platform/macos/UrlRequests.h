#pragma once

#import "platform/macos/Foundation.h"

#include <optional>
#include <string>
#include <string_view>

#include "platform/UrlLoading.h"

/// Requests and responses between Foundation and the platform's own types.
namespace platform {

/// Whether a body may come encoded.
enum class BodyEncoding { asItIs, askedFor };

/// Brings the request into one of Foundation's, which keeps what else it says.
/// Fails: unsupportedUrl for a scheme that is neither http nor https; badUrl when Foundation and we do not
/// find the same host in the URL, nor each reader of that host the same address, or when a header holds a
/// line end.
Error writeRequest(const UrlRequest& request, BodyEncoding encoding, NSMutableURLRequest* foundation);

/// Fails: badUrl, when the text is no URL to us.
Error readUrl(NSURL* foundation, Url& url);

/// Fails: badUrl, when its URL is none to us.
Error readResponse(NSURLResponse* foundation, UrlResponse& response);

/// The value of a response's header field of that name (any case).
[[nodiscard]] std::optional<std::string> headerField(NSURLResponse* foundation, std::string_view name);

}  // namespace platform
