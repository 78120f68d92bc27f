#pragma once

#include <string>

/// Whether an archive may be downloaded from the URL: a safe scheme and a trusted server. The answer no is
/// logged with its reason.
[[nodiscard]] bool mayDownloadFrom(const std::string& url);
