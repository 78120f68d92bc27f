#include "platform/common/PropertyListReal.h"

#include <stdio.h>
#include <stdlib.h>
#include <xlocale.h>

#include <array>
#include <limits>

namespace platform::plist {

/// The C++ library has no shortest form. No locale is the C locale.
std::string decimalText(double number) {
  using Limits = std::numeric_limits<double>;
  std::array<char, 32> text{};
  for (int digits = Limits::digits10; digits <= Limits::max_digits10; ++digits) {
    snprintf_l(text.data(), text.size(), nullptr, "%.*g", digits, number);
    if (strtod_l(text.data(), nullptr, nullptr) == number) break;
  }
  return text.data();
}

}  // namespace platform::plist
