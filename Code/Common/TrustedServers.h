#pragma once

#include <string>

/// @file
/// What may be downloaded from. A URL is used only when both tests hold for it.

/// Whether the scheme is "https", in any case. Null is not safe.
[[nodiscard]] bool isSafeScheme(const char* scheme);

/// Whether the host is on the list of `ServerConfiguration.h`, in any case. Null is not trusted; port and
/// user name play no part.
[[nodiscard]] bool isTrustedServer(const char* host);

/// What both tests say of a text that is to be used as a URL. One that does not parse has neither scheme nor
/// host.
struct UrlTrust {
  bool isSafe = false;     ///< the scheme
  bool isTrusted = false;  ///< the host
  std::string scheme;      ///< for messages; "(null)" when there is none
  std::string host;        ///< for messages; "(null)" when there is none
};
[[nodiscard]] UrlTrust examineUrl(const std::string& text);
