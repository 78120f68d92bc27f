#pragma once

/// @file
/// What may be downloaded from. A URL is used only when both tests hold for it.

/// Whether the scheme is "https", in any case. Null is not safe.
[[nodiscard]] bool isSafeScheme(const char* scheme);

/// Whether the host is on the list of `ServerConfiguration.h`, in any case. Null is not trusted; port and
/// user name play no part.
[[nodiscard]] bool isTrustedServer(const char* host);
