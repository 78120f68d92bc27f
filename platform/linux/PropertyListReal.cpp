#include "platform/common/PropertyListReal.h"

#include <array>
#include <charconv>
#include <cstdlib>

namespace platform::plist {

std::string decimalText(double number) {
  std::array<char, 32> digits{};
  const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), number);
  return {digits.data(), end};
}

bool readDecimal(std::string_view text, double& number) {
  if (text.find_first_not_of("0123456789.e+-") != std::string_view::npos) return false;
  const char* end = text.data() + text.size();
  double value = 0;
  const auto [rest, error] = std::from_chars(text.data(), end, value);
  if (error == std::errc::invalid_argument || rest != end) return false;
  number = error == std::errc::result_out_of_range ? std::strtod(std::string(text).c_str(), nullptr) : value;
  return true;
}

}  // namespace platform::plist
