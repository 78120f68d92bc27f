#include "runtime/Code/ZRFormat.h"

#include <algorithm>
#include <cstdio>

namespace zrrt {

FormattedText::FormattedText(std::size_t limit, const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  const int needed = std::vsnprintf(_short.data(), _short.size(), format, arguments);
  _length = std::min(static_cast<std::size_t>(std::max(needed, 0)), limit);
  if (_length < _short.size()) {
    _short[_length] = '\0';
  } else {
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
