#pragma once

#include <string>

#include "platform/UrlLoading.h"

namespace platform {

/// An error of the URL domain.
[[nodiscard]] Error urlError(UrlErrorCode code, std::string description);
/// The same for what a system call could not do to a file: `number` is its errno value.
[[nodiscard]] Error urlError(UrlErrorCode code, int number, const std::string& path);

}  // namespace platform
