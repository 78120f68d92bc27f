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

/// Whether the request takes a body of so many bytes; a negative number is none that is known. Fails:
/// dataLengthExceedsMaximum.
[[nodiscard]] Error checkLength(std::int64_t bytes, const UrlRequest& request);

/// Fails: badUrl for a header of more than one line.
[[nodiscard]] Error checkHeader(const std::string& name, const std::string& value);

/// A download into a file keeps what comes as it comes.
[[nodiscard]] Error encodedBodyError();
/// It needs at least one byte.
[[nodiscard]] Error emptyBodyError();

}  // namespace platform
