#pragma once

#include "platform/Error.h"
#include "runtime/Code/ZRResult.h"

namespace zrrt {

/// The result of a platform service's outcome: eNoError without an error; for one of the POSIX domain the
/// result of that system error in `method`; else eSomeError. A failure's message ends with the service's
/// description.
[[nodiscard]] ZRResult resultOf(const platform::Error& error, const char* method);

/// The result of a system call that the error itself names; eNoError without an error.
[[nodiscard]] ZRResult resultOfCall(const platform::Error& error);

}  // namespace zrrt
