#include "platform/Error.h"

#include <array>
#include <cstring>

#include "platform/Printable.h"

namespace platform {
namespace {

std::string systemText(int number) {
  std::array<char, 128> buffer{};
  return strerror_r(number, buffer.data(), buffer.size());
}

}  // namespace

Error posixError(int number, std::string_view subject) {
  std::string description = systemText(number);
  if (!subject.empty()) description = onOneLine(subject) + ": " + description;
  return {kPosixErrorDomain, number, std::move(description)};
}

Error systemCallError(const char* call, int number) {
  if (number == 0) return {};
  Error error = posixError(number, call);
  error.call = call;
  return error;
}

}  // namespace platform
