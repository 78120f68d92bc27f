#pragma once

#include <cstdarg>
#include <cstddef>
#include <string>

namespace zrrt {

/// Formats in the manner of vprintf, first into 256 bytes on the stack and only then, for a longer text, into
/// one allocation; cut at `limit` bytes. A format that cannot be converted gives an empty text.
[[nodiscard, gnu::format(printf, 2, 0)]] std::string formatText(std::size_t limit, const char* format,
                                                                va_list arguments);

}  // namespace zrrt
