#pragma once

#include <cstdint>
#include <string>

#include "platform/UrlLoading.h"

/// What every exchange keeps to, however the system loads it. Errors are of the URL domain.
namespace platform {

/// Whether an answer of that status and with a Location sends the client elsewhere.
[[nodiscard]] bool isRedirectStatus(int status);

/// Counts one more redirect. Fails: tooManyRedirects beyond 20.
[[nodiscard]] Error countRedirect(unsigned& followed);

/// Checks the length of a body, in bytes; a negative one is not known. Fails: dataLengthExceedsMaximum.
[[nodiscard]] Error checkLength(std::int64_t bytes, std::uint64_t limitBytes);

/// Fails: unsupportedUrl for a URL of another scheme than http and https.
[[nodiscard]] Error checkScheme(const Url& url);
/// badUrl, for one that is not the same to all who read it, or none at all.
[[nodiscard]] Error badUrlError();

/// Fails: badUrl for a header of more than one line.
[[nodiscard]] Error checkHeader(const std::string& name, const std::string& value);

/// cannotDecodeContentData, for a body that a download into a file would have to decode.
[[nodiscard]] Error encodedBodyError();
/// zeroByteResource, for a download of no bytes.
[[nodiscard]] Error emptyBodyError();

}  // namespace platform
