#include <algorithm>
#include <array>
#include <cstddef>

#include "platform/common/PropertyListFormats.h"

namespace platform::plist {
namespace {

constexpr std::string_view kBase64Digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t kNoDigit = 0xFF;

constexpr std::array<std::uint8_t, 256> base64Values() {
  std::array<std::uint8_t, 256> values{};
  values.fill(kNoDigit);
  for (std::size_t i = 0; i < kBase64Digits.size(); ++i) {
    values.at(static_cast<unsigned char>(kBase64Digits.at(i))) = static_cast<std::uint8_t>(i);
  }
  return values;
}

bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

/// Length of the sequence that a lead byte begins, and the least code point that needs it; 0 for no lead.
struct Utf8Lead {
  std::size_t length;
  std::uint32_t bits;
  std::uint32_t least;
};

Utf8Lead utf8Lead(unsigned char byte) {
  if (byte < 0x80) return {1, byte, 0};
  if ((byte & 0xE0) == 0xC0) return {2, byte & 0x1FU, 0x80};
  if ((byte & 0xF0) == 0xE0) return {3, byte & 0x0FU, 0x800};
  if ((byte & 0xF8) == 0xF0) return {4, byte & 0x07U, 0x10000};
  return {0, 0, 0};
}

bool isXmlCharacter(std::uint32_t codePoint) {
  if (codePoint < 0x20) return codePoint == '\t' || codePoint == '\n' || codePoint == '\r';
  return codePoint != 0xFFFE && codePoint != 0xFFFF;
}

}  // namespace

void appendUtf8(std::uint32_t codePoint, std::string& text) {
  const auto append = [&text](std::uint32_t byte) { text += static_cast<char>(byte); };
  const auto appendTail = [&append, codePoint](int shift) { append(0x80 | ((codePoint >> shift) & 0x3F)); };
  if (codePoint < 0x80) {
    append(codePoint);
  } else if (codePoint < 0x800) {
    append(0xC0 | (codePoint >> 6));
    appendTail(0);
  } else if (codePoint < 0x10000) {
    append(0xE0 | (codePoint >> 12));
    appendTail(6);
    appendTail(0);
  } else {
    append(0xF0 | (codePoint >> 18));
    appendTail(12);
    appendTail(6);
    appendTail(0);
  }
}

bool takeUtf8(std::string_view& text, std::uint32_t& codePoint) {
  const Utf8Lead lead = text.empty() ? Utf8Lead{0, 0, 0} : utf8Lead(static_cast<unsigned char>(text[0]));
  if (lead.length == 0 || lead.length > text.size()) return false;
  codePoint = lead.bits;
  for (std::size_t i = 1; i < lead.length; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if ((byte & 0xC0) != 0x80) return false;
    codePoint = (codePoint << 6) | (byte & 0x3FU);
  }
  text.remove_prefix(lead.length);
  const bool isSurrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
  return codePoint >= lead.least && codePoint <= 0x10FFFF && !isSurrogate;
}

std::string xmlText(std::string_view text) {
  constexpr std::uint32_t kReplacement = 0xFFFD;
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    std::string_view rest = text;
    std::uint32_t codePoint = 0;
    const bool isUtf8 = takeUtf8(rest, codePoint);
    appendUtf8(isUtf8 && isXmlCharacter(codePoint) ? codePoint : kReplacement, result);
    text = isUtf8 ? rest : text.substr(1);
  }
  return result;
}

std::string encodeBase64(const Data& data) {
  std::string text;
  text.reserve((data.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < data.size(); i += 3) {
    const std::size_t count = std::min<std::size_t>(3, data.size() - i);
    std::uint32_t bits = 0;
    for (std::size_t k = 0; k < 3; ++k)
      bits = (bits << 8) | (k < count ? data[i + k] : 0U);
    for (std::size_t k = 0; k < 4; ++k)
      text += k <= count ? kBase64Digits[(bits >> (18 - 6 * k)) & 0x3F] : '=';
  }
  return text;
}

bool decodeBase64(std::string_view text, Data& data) {
  static constexpr auto kValues = base64Values();
  std::uint32_t bits = 0;
  std::size_t digits = 0;
  std::size_t padding = 0;
  for (const char c : text) {
    if (isBlank(c)) continue;
    if (c == '=') {
      ++padding;
      continue;
    }
    const std::uint8_t value = kValues.at(static_cast<unsigned char>(c));
    if (value == kNoDigit || padding > 0) return false;
    bits = (bits << 6) | value;
    if (++digits % 4 == 0) {
      for (const int shift : {16, 8, 0})
        data.push_back(static_cast<std::uint8_t>(bits >> shift));
      bits = 0;
    }
  }
  const std::size_t rest = digits % 4;
  if (rest == 0) return padding == 0;
  if (rest + padding != 4 || rest == 1) return false;
  const std::uint32_t unused = rest == 2 ? 0x0F : 0x03;
  if ((bits & unused) != 0) return false;
  bits <<= 6 * padding;
  data.push_back(static_cast<std::uint8_t>(bits >> 16));
  if (rest == 3) data.push_back(static_cast<std::uint8_t>(bits >> 8));
  return true;
}

}  // namespace platform::plist
