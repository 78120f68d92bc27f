#pragma once

#include <string>

#include "platform/UrlLoading.h"

namespace platform {

/// What the network library knows about how a transfer ended.
struct HttpOutcome {
  int code = 0;            ///< the library's own
  long verifyResult = 0;   ///< of the certificate check
  long systemError = 0;    ///< errno, as far as the library kept it
  long connectStatus = 0;  ///< the proxy's answer to CONNECT
  std::string text;
};

/// The URL-loading code that a failed outcome stands for.
[[nodiscard]] UrlErrorCode translate(const HttpOutcome& outcome);

}  // namespace platform
