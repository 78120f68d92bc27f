#pragma once

#include <string>

/// What a URL is wanted for.
enum class UrlUse {
  storedAddress,  ///< in the preferences, as where the update info is to be fetched
  document,       ///< to fetch the update info
  archive         ///< to download an archive
};

/// Whether the URL may be used: a safe scheme and a trusted server. The answer no is logged with its reason.
[[nodiscard]] bool mayUse(UrlUse use, const std::string& url);
