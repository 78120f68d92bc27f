#pragma once

#include <array>
#include <cstdarg>
#include <cstddef>
#include <string>

namespace zrrt {

/// A text formatted in the manner of vprintf: first into 256 bytes within the object and only then, for a
/// longer text, into one allocation; cut at `limit` bytes. A format that cannot be converted gives an empty
/// text.
class FormattedText {
 public:
  [[gnu::format(printf, 3, 0)]] FormattedText(std::size_t limit, const char* format, va_list arguments);

  [[nodiscard]] const char* c_str() const noexcept { return _long.empty() ? _short.data() : _long.c_str(); }
  [[nodiscard]] std::size_t length() const noexcept { return _length; }

 private:
  std::array<char, 256> _short;
  std::string _long;
  std::size_t _length = 0;
};

/// The same as a string.
[[nodiscard, gnu::format(printf, 2, 0)]] std::string formatText(std::size_t limit, const char* format,
                                                                va_list arguments);

}  // namespace zrrt
