#include "runtime/Json/JsonScanner.h"

#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <limits>
#if __has_include(<xlocale.h>)
#include <xlocale.h>
#endif

namespace foundation::json {
namespace {

// What stands at a byte of a string: the length of a raw character by its lead byte (the six-byte scheme of
// RFC 2279), or something else.
enum ByteClass : std::uint8_t { kRefused = 0, kPlain = 1, kMaxCharacterBytes = 6, kQuote, kBackslash };

constexpr ByteClass classify(unsigned byte) {
  if (byte == 0) return kRefused;
  if (byte == '"') return kQuote;
  if (byte == '\\') return kBackslash;
  if (byte < 0x80) return kPlain;
  if (byte < 0xC0 || byte >= 0xFE) return kRefused;
  unsigned length = 2;
  while ((byte & (0x80U >> length)) != 0)
    ++length;
  return static_cast<ByteClass>(length);
}

struct ByteClasses {
  ByteClass of[256];
  constexpr ByteClasses() : of() {
    for (unsigned byte = 0; byte < 256; ++byte)
      of[byte] = classify(byte);
  }
};

constexpr ByteClasses kByteClasses;

ByteClass classOf(char byte) {
  return kByteClasses.of[static_cast<unsigned char>(byte)];
}

bool isDigit(char character) {
  return character >= '0' && character <= '9';
}

int hexDigit(char character) {
  if (isDigit(character)) return character - '0';
  if (character >= 'a' && character <= 'f') return character - 'a' + 10;
  if (character >= 'A' && character <= 'F') return character - 'A' + 10;
  return -1;
}

// UTF-8 of one unit of 16 bits; a surrogate is written like any other.
void appendUtf8(unsigned unit, std::string& text) {
  if (unit < 0x80) {
    text += static_cast<char>(unit);
  } else if (unit < 0x800) {
    text += static_cast<char>(0xC0 | unit >> 6);
    text += static_cast<char>(0x80 | (unit & 0x3F));
  } else {
    text += static_cast<char>(0xE0 | unit >> 12);
    text += static_cast<char>(0x80 | (unit >> 6 & 0x3F));
    text += static_cast<char>(0x80 | (unit & 0x3F));
  }
}

// As strtoull converts it: a value that does not fit becomes the largest.
std::uint64_t saturatingValue(std::string_view digits) {
  constexpr std::uint64_t kMax = std::numeric_limits<std::uint64_t>::max();
  std::uint64_t value = 0;
  for (const char character : digits) {
    const auto digit = static_cast<std::uint64_t>(character - '0');
    if (value > (kMax - digit) / 10) return kMax;
    value = value * 10 + digit;
  }
  return value;
}

// As strtoll converts it: a value that does not fit becomes the smallest.
std::int64_t saturatingNegative(std::string_view digits) {
  constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
  const std::uint64_t magnitude = saturatingValue(digits);
  if (magnitude > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) return kMin;
  return -static_cast<std::int64_t>(magnitude);
}

// The C library's conversion with the decimal separator of the "C" locale, whatever the process has set.
bool convertDouble(const std::string& text, double& value) {
  static const locale_t classic = newlocale(LC_ALL_MASK, "C", nullptr);
  char* stopped = nullptr;
  value = strtod_l(text.c_str(), &stopped, classic);
  return stopped == text.c_str() + text.size();
}

}  // namespace

bool JsonScanner::takeString(std::string& text) {
  const char* start = ++_next;
  while (_next != _end) {
    const ByteClass kind = classOf(*_next);
    if (kind == kPlain) {
      ++_next;
    } else if (kind == kQuote) {
      text.append(start, _next);
      ++_next;
      return true;
    } else if (kind == kBackslash) {
      text.append(start, _next);
      if (!takeEscape(text)) return false;
      start = _next;
    } else if (!skipMultibyte()) {
      return false;
    }
  }
  return false;
}

bool JsonScanner::skipMultibyte() noexcept {
  const int length = classOf(*_next);
  if (length == kRefused || _end - _next < length) return false;
  for (int i = 1; i < length; ++i) {
    if ((static_cast<unsigned char>(_next[i]) & 0xC0) != 0x80) return false;
  }
  _next += length;
  return true;
}

bool JsonScanner::takeEscape(std::string& text) {
  static constexpr std::string_view kLetters = "\"\\/bfnrt";
  static constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
  ++_next;
  const char letter = peek();
  if (letter == 'u') return takeUnicodeEscape(text);
  const std::size_t found = kLetters.find(letter);
  if (found == std::string_view::npos) return false;
  text += kMeanings[found];
  ++_next;
  return true;
}

bool JsonScanner::takeUnicodeEscape(std::string& text) {
  constexpr int kDigits = 4;
  ++_next;
  unsigned unit = 0;
  for (int i = 0; i < kDigits; ++i) {
    const int digit = hexDigit(peek());
    if (digit < 0) return false;
    unit = unit * 16 + static_cast<unsigned>(digit);
    ++_next;
  }
  appendUtf8(unit, text);
  return true;
}

bool JsonScanner::skipDigits() noexcept {
  const char* start = _next;
  while (isDigit(peek()))
    ++_next;
  return _next != start;
}

// A "0" with digits behind it is refused.
bool JsonScanner::skipIntegerPart() noexcept {
  if (peek() != '0') return skipDigits() || peek() == '.';
  ++_next;
  return !isDigit(peek());
}

bool JsonScanner::skipExponent() noexcept {
  ++_next;
  if (peek() == '+' || peek() == '-') ++_next;
  return skipDigits();
}

bool JsonScanner::takeNumber(JsonNumber& number) {
  const char* start = _next;
  const bool isNegative = peek() == '-';
  if (isNegative) ++_next;
  const char* digits = _next;
  if (!skipIntegerPart()) return false;
  const bool hasFraction = peek() == '.';
  if (hasFraction) {
    const bool hasIntegerPart = _next != digits;
    ++_next;
    if (!skipDigits() && !hasIntegerPart) return false;
  }
  const bool hasExponent = peek() == 'e' || peek() == 'E';
  if (hasExponent && !skipExponent()) return false;
  if (hasFraction || hasExponent) {
    double value = 0;
    if (!convertDouble(std::string(start, _next), value)) return false;
    number = JsonNumber::fromDouble(value);
    return true;
  }
  const std::string_view integer(digits, static_cast<std::size_t>(_next - digits));
  number = isNegative ? JsonNumber::fromSigned(saturatingNegative(integer))
                      : JsonNumber::fromUnsigned(saturatingValue(integer));
  return true;
}

}  // namespace foundation::json
