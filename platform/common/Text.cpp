#include "platform/Text.h"

#include <algorithm>

namespace platform {
namespace {

constexpr char lowerCaseOf(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

std::string_view trimmed(std::string_view text, std::string_view blanks) {
  text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
  return text.substr(0, text.find_last_not_of(blanks) + 1);
}

std::string lowerCase(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), lowerCaseOf);
  return lower;
}

bool equalIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char left, char right) { return lowerCaseOf(left) == lowerCaseOf(right); });
}

}  // namespace platform
