#pragma once

#include <string>
#include <string_view>

/// Finite reals as decimal text, independent of the locale. The system's part of the XML form: not every
/// system's C++ library reads and writes them.
namespace platform::plist {

/// A text that reads as the same number, as short as the system can tell.
[[nodiscard]] std::string decimalText(double number);

/// Reads digits with a fraction and an exponent, for the common reader. What is too large becomes infinity,
/// what is too small zero. False when the text is anything else.
[[nodiscard]] bool readDecimal(std::string_view text, double& number);

}  // namespace platform::plist
