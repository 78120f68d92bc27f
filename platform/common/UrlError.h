#pragma once

#include <string>

#include "platform/UrlLoading.h"

namespace platform {

/// An error of the URL domain.
[[nodiscard]] Error urlError(UrlErrorCode code, std::string description);

}  // namespace platform
