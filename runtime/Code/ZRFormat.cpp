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
  std::size_t finish() {
    *_next = '\0';
    return static_cast<std::size_t>(_next - _begin);
  }

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
  va_copy(plain, arguments);
  ShortWriter out(_short.data(), _short.size());
  const bool isPlain = formatPlain(format, plain, out);
  va_end(plain);
  if (isPlain) {
    cutShort(out.finish(), limit);
  } else {
    formatAny(limit, format, arguments);
  }
}

void FormattedText::cutShort(std::size_t length, std::size_t limit) {
  _length = std::min(length, limit);
  _short[_length] = '\0';
}

void FormattedText::formatAny(std::size_t limit, const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  const int needed = std::vsnprintf(_short.data(), _short.size(), format, arguments);
  const auto length = static_cast<std::size_t>(std::max(needed, 0));
  if (std::min(length, limit) < _short.size()) {
    cutShort(length, limit);
  } else {
    _length = std::min(length, limit);
    _long.resize(_length + 1);
    std::vsnprintf(_long.data(), _long.size(), format, again);
    _long.resize(_length);
  }
  va_end(again);
}

std::string formatText(std::size_t limit, const char* format, va_list arguments) {
  const FormattedText text(limit, format, arguments);
  return {text.c_str(), text.length()};
}

}  // namespace zrrt
