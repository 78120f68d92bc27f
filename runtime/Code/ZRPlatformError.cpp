#include "runtime/Code/ZRPlatformError.h"

namespace zrrt {

ZRResult resultOf(const platform::Error& error, const char* method) {
  if (!error.failed()) return ZRError::eNoError;
  ZRResult result = error.domain == platform::kPosixErrorDomain
                        ? ZRResult::fromSystemError(method, static_cast<int>(error.code))
                        : ZRResult(ZRError::eSomeError);
  result.append("%s", error.description.c_str());
  return result;
}

ZRResult resultOfCall(const platform::Error& error) {
  return error ? ZRResult::fromSystemError(error.call, static_cast<int>(error.code)) : ZRResult();
}

}  // namespace zrrt
