#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "runtime/Json/JsonValue.h"

namespace foundation::json {

/// Reads the tokens of a JSON text from front to back; never looks behind the end of the text. A token that
/// is refused leaves the scanner anywhere.
class JsonScanner {
 public:
  JsonScanner(const char* text, std::size_t length) noexcept : _next(text), _end(text + length) {}

  /// Skips whitespace (that of the C locale); answers the character that follows, a zero byte at the end.
  char skipSpace() noexcept {
    while (_next != _end && isSpace(*_next))
      ++_next;
    return _next != _end ? *_next : '\0';
  }

  /// Whether only whitespace is left.
  bool skipSpaceToEnd() noexcept {
    skipSpace();
    return _next == _end;
  }

  void advance() noexcept { ++_next; }

  /// Takes the text if it stands here.
  bool take(std::string_view token) noexcept {
    if (static_cast<std::size_t>(_end - _next) < token.size()) return false;
    if (std::string_view(_next, token.size()) != token) return false;
    _next += token.size();
    return true;
  }

  /// Takes a string whose quote stands here.
  bool takeString(std::string& text);
  bool takeNumber(JsonNumber& number);

 private:
  static bool isSpace(char character) noexcept {
    return character == ' ' || (character >= '\t' && character <= '\r');
  }
  [[nodiscard]] char peek() const noexcept { return _next != _end ? *_next : '\0'; }

  bool takeEscape(std::string& text);
  bool takeUnicodeEscape(std::string& text);
  bool skipMultibyte() noexcept;
  bool skipDigits() noexcept;
  bool skipIntegerPart() noexcept;
  bool skipExponent() noexcept;

  const char* _next;
  const char* _end;
};

}  // namespace foundation::json
