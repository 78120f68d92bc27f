#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/Strings/ZRNarrowStringBase.h"

class ZRResult;

/// The runtime's string: UTF-8 text, used for every path, name and message that crosses a runtime interface.
///
/// It never throws for a wrong argument: an operation that cannot do its work logs the message named here at
/// level 6 and leaves the string as it was, or empty for a new one. So do copying, assigning and appending
/// when memory is short or the text would be too long (lengths have 31 bits). Positions are byte offsets.
class ZRString : public ZRNarrowStringBase {
 public:
  /// "Not found" of the searches.
  static constexpr std::size_t npos = static_cast<std::size_t>(-1);

  ZRString() = default;
  ~ZRString() = default;
  /// "Failure in ZRString(ZRString&) constructor".
  ZRString(const ZRString& text);
  ZRString(ZRString&& text) noexcept = default;
  /// A null pointer gives an empty string and is reported: "NULL pointer passed to
  /// ZRNarrowStringBase::_constructorImpl(char*, int32, int32)".
  ZRString(const char* text);       // NOLINT: a text is a string
  ZRString(std::string text);       // NOLINT
  ZRString(std::string_view text);  // NOLINT
  ZRString(const char* text, std::int32_t length);

  /// Assigning a null text stores "(null)". "Failure in ZRString = operator".
  ZRString& operator=(const char* text);
  ZRString& operator=(const ZRString& text);
  ZRString& operator=(ZRString&& text) noexcept = default;
  /// "Failure in ZRString += operator", also for a null text.
  ZRString& operator+=(const char* text);
  ZRString& operator+=(const ZRString& text);
  ZRString& operator+=(char character);

  /// printf-style, cut at `maxLength` bytes.
  [[nodiscard, gnu::format(printf, 2, 3)]] static ZRString format(std::size_t maxLength, const char* format,
                                                                  ...);

  /// Empty after a failure: "Unexpected error in ZRString::substr(int32)" or "... substr(int32, int32)", with
  /// "Bounds check failed in <function>" when `start` (or start + count) lies beyond the end or "Negative
  /// length in <function>" for a negative count.
  [[nodiscard]] ZRString substr(std::int32_t start) const;
  [[nodiscard]] ZRString substr(std::int32_t start, std::int32_t count) const;

  [[nodiscard]] std::size_t find(std::string_view text, std::size_t from = 0) const;
  [[nodiscard]] std::size_t find(char character, std::size_t from = 0) const;
  [[nodiscard]] std::size_t findLast(char character) const;
  [[nodiscard]] std::size_t findFirstNotOf(std::string_view set, std::size_t from = 0) const;
  [[nodiscard]] bool startsWith(std::string_view text) const;
  [[nodiscard]] bool endsWith(std::string_view text) const;

  /// Removes leading, trailing or both runs of the characters of `set`.
  void trimLeft(std::string_view set = kBlanks);
  void trimRight(std::string_view set = kBlanks);
  void trim(std::string_view set = kBlanks);

  /// "Unexpected error in replaceAll()", with "Empty string in <function>" for an empty `search`.
  void replaceAll(std::string_view search, std::string_view replacement);

  void toLower();  ///< ASCII letters only

  /// Converts leading digits of the radix (2 to 36) as strtol does: leading blanks and a sign are accepted,
  /// what follows the number is ignored, a value out of range saturates. Fails: eBadParameter "Radix %d in
  /// %s"; eBadFormat "String \"%s\" not a number in %s".
  ZRResult toInteger(std::int32_t radix, long& value) const;

  /// Pieces between occurrences of `separator`; a text without one is a single piece.
  [[nodiscard]] std::vector<ZRString> split(char separator) const;

  /// Takes over a string of the platform, which must be UTF-8. Fails: eBadParameter for a null text;
  /// eSomeError, "CFStringGetCString failed", for one that is not UTF-8: the string is then empty.
  ZRResult assignPlatformString(const char* text);
  /// The same, never failing: "Failure in ZRString(CFStringRef) constructor" and an empty string.
  [[nodiscard]] static ZRString fromPlatformString(const std::string& text);
  /// The platform's string form: the text up to its first zero byte. A text that is not UTF-8 gives an empty
  /// one and is logged at level 3: "Failed to create CFString from ZRString, returning empty CFString".
  [[nodiscard]] std::string toPlatformString() const;
  /// The same. Fails: eSomeError, "CFStringCreateWithCString failed".
  ZRResult toPlatformString(std::string& text) const;

  static constexpr std::string_view kBlanks = " \n\r\t";

  friend bool operator==(const ZRString& a, const ZRString& b) noexcept { return a.view() == b.view(); }
  friend bool operator==(const ZRString& a, const char* b) noexcept {
    return a.view() == std::string_view(b);
  }
  friend bool operator<(const ZRString& a, const ZRString& b) noexcept { return a.view() < b.view(); }

  // What no run calls.
  [[nodiscard]] std::size_t findFirstOf(std::string_view set, std::size_t from = 0) const;
  /// As `replaceAll`: "Unexpected error in replaceFirst()".
  void replaceFirst(std::string_view search, std::string_view replacement);

 private:
  ZRResult extract(std::int32_t start, std::int32_t count, ZRString& piece) const;
};

[[nodiscard]] ZRString operator+(const ZRString& a, const ZRString& b);
[[nodiscard]] ZRString operator+(const ZRString& a, const char* b);
[[nodiscard]] ZRString operator+(const char* a, const ZRString& b);
