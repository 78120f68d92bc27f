#pragma once

#include <string>
#include <string_view>

namespace platform {

/// A text from outside (a server, a file) as it may stand in a log line: each control character and each line
/// or paragraph separator (U+0000 to U+001F, U+007F to U+009F, U+2028, U+2029, in UTF-8) becomes a blank, so
/// that it can neither begin a line nor steer a terminal. All else stays, bytes that are not UTF-8 too.
[[nodiscard]] std::string onOneLine(std::string_view text);

}  // namespace platform
