#pragma once

#include <gmock/gmock.h>

#include <ostream>

#include "platform/Error.h"

namespace platform {

inline void PrintTo(const Error& error, std::ostream* out) {
  *out << "{" << error.domain << " " << error.code << " \"" << error.description << "\"}";
}

}  // namespace platform

namespace test {

MATCHER(Succeeded, "is no error") {
  return !arg.failed();
}

/// A failure of a system call with that number, whose description names what it is about.
MATCHER_P2(FailedWith, number, subject, "is the POSIX error " + std::to_string(number)) {
  return arg.domain == platform::kPosixErrorDomain && arg.code == number &&
         arg.description.find(subject) != std::string::npos;
}

/// A failure of the system call that messages know by that name.
MATCHER_P2(FailedCall, call, number, std::string(call) + " fails with " + std::to_string(number)) {
  return arg.domain == platform::kPosixErrorDomain && arg.code == number && arg.call == std::string(call);
}

MATCHER_P(HasCode, code, "has the code " + std::to_string(code)) {
  return arg.code == code && !arg.domain.empty() && !arg.description.empty();
}

}  // namespace test
