#include "platform/Printable.h"

namespace {

/// How many bytes a control character at the front of the text takes; 0 when another character stands there.
std::size_t controlLength(std::string_view text) {
  const auto byteAt = [&](std::size_t i) {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
  };
  const unsigned first = byteAt(0);
  if (first < 0x20 || first == 0x7F) return 1;
  if (first == 0xC2 && byteAt(1) >= 0x80 && byteAt(1) <= 0x9F) return 2;
  if (first == 0xE2 && byteAt(1) == 0x80 && (byteAt(2) == 0xA8 || byteAt(2) == 0xA9)) return 3;
  return 0;
}

}  // namespace

namespace platform {

std::string onOneLine(std::string_view text) {
  std::string line;
  line.reserve(text.size());
  while (!text.empty()) {
    const std::size_t control = controlLength(text);
    line += control > 0 ? ' ' : text.front();
    text.remove_prefix(control > 0 ? control : 1);
  }
  return line;
}

}  // namespace platform
