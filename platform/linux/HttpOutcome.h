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
  int tlsAlert = 0;        ///< the number of the fatal alert that came (RFC 8446, section 6); 0 for none
  bool wasAskedForCertificate = false;  ///< the server wanted a certificate of ours
  std::string text;
};

/// The URL-loading code that a failed outcome stands for.
[[nodiscard]] UrlErrorCode translate(const HttpOutcome& outcome);

}  // namespace platform
