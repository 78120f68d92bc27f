#include "platform/Error.h"

#include <system_error>

#include "platform/Printable.h"

namespace platform {

Error posixError(int number, std::string_view subject) {
  std::string description = std::generic_category().message(number);
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
