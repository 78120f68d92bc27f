#include "runtime/Code/ZRFormat.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace zrrt {

std::string formatText(std::size_t limit, const char* format, va_list arguments) {
  std::array<char, 256> first;
  va_list again;
  va_copy(again, arguments);
  const int needed = std::vsnprintf(first.data(), first.size(), format, arguments);
  std::string text;
  if (needed >= 0) {
    const auto length = static_cast<std::size_t>(needed);
    const std::size_t kept = std::min(length, limit);
    if (length < first.size()) {
      text.assign(first.data(), kept);
    } else {
      text.resize(kept + 1);
      std::vsnprintf(text.data(), text.size(), format, again);
      text.resize(kept);
    }
  }
  va_end(again);
  return text;
}

}  // namespace zrrt
