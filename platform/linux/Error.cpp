#include "platform/Error.h"

#include <array>
#include <cstring>

namespace platform {
namespace {

std::string systemText(int number) {
  std::array<char, 128> buffer{};
  return strerror_r(number, buffer.data(), buffer.size());
}

}  // namespace

Error posixError(int number, std::string_view subject) {
  std::string description = systemText(number);
  if (!subject.empty()) description = std::string(subject) + ": " + description;
  return {kPosixErrorDomain, number, std::move(description)};
}

}  // namespace platform
