#pragma once

#include <string>
#include <string_view>

/// Texts as protocols and file formats compare and cut them: bytes, with the letters A to Z as the only ones
/// that have a case, whatever the locale.
namespace platform {

[[nodiscard]] constexpr bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

/// The text without those of `blanks` that it begins and ends with; a part of `text`.
[[nodiscard]] std::string_view trimmed(std::string_view text, std::string_view blanks = " \t\r\n");

[[nodiscard]] std::string lowerCase(std::string_view text);

[[nodiscard]] bool equalIgnoringCase(std::string_view a, std::string_view b);

}  // namespace platform
