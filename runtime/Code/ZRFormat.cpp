#include "runtime/Code/ZRFormat.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <system_error>

namespace zrrt {

namespace {

/// Writes a text piece by piece into a buffer, as long as there is room for it and a zero byte.
class ShortWriter {
 public:
  ShortWriter(char* begin, std::size_t size) : _begin(begin), _next(begin), _end(begin + size - 1) {}

  bool add(std::string_view text) {
    if (text.size() > static_cast<std::size_t>(_end - _next)) return false;
    std::memcpy(_next, text.data(), text.size());
    _next += text.size();
    return true;
  }
  template <typename Number>
  bool addNumber(Number number) {
    const auto [next, error] = std::to_chars(_next, _end, number);
    if (error != std::errc()) return false;
    _next = next;
    return true;
  }
  [[nodiscard]] std::size_t length() const { return static_cast<std::size_t>(_next - _begin); }

 private:
  char* const _begin;
  char* _next;
  char* const _end;
};

/// One conversion, `format` standing behind its "%". False for what is left to the C library.
bool addPlain(const char* format, va_list& arguments, ShortWriter& out) {
  switch (*format) {
    case 's': {
      const char* text = va_arg(arguments, const char*);
      return out.add(text != nullptr ? text : "(null)");
    }
    case 'd':
      return out.addNumber(va_arg(arguments, int));
    case 'u':
      return out.addNumber(va_arg(arguments, unsigned));
    default:
      return false;
  }
}

/// Formats short texts of plain conversions, which nearly all are, at a third of the C library's price.
/// False, with nothing to be used in the buffer, when there is anything else in the format.
bool formatPlain(const char* format, va_list& arguments, ShortWriter& out) {
  for (;;) {
    const char* percent = std::strchr(format, '%');
    if (percent == nullptr) return out.add(format);
    if (!out.add({format, static_cast<std::size_t>(percent - format)})) return false;
    if (!addPlain(percent + 1, arguments, out)) return false;
    format = percent + 2;
  }
}

}  // namespace

FormattedText::FormattedText(std::size_t limit, const char* format, va_list arguments) {
  va_list plain;
  va_list again;
  va_copy(plain, arguments);
  va_copy(again, arguments);
  ShortWriter out(_short.data(), _short.size());
  const std::size_t needed = formatPlain(format, plain, out)
                                 ? out.length()
                                 : static_cast<std::size_t>(std::max(
                                       std::vsnprintf(_short.data(), _short.size(), format, arguments), 0));
  _length = std::min(needed, limit);
  if (_length < _short.size()) {
    _short[_length] = '\0';
  } else {
    _long.resize(_length + 1);
    std::vsnprintf(_long.data(), _long.size(), format, again);
    _long.resize(_length);
  }
  va_end(again);
  va_end(plain);
}

std::string formatText(std::size_t limit, const char* format, va_list arguments) {
  const FormattedText text(limit, format, arguments);
  return {text.c_str(), text.length()};
}

}  // namespace zrrt
