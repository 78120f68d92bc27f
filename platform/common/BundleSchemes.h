#pragma once

#include <string>
#include <vector>

#include "platform/PropertyList.h"

namespace platform {

/// The URL schemes that a bundle's information dictionary declares, in lower case and in order, each once.
[[nodiscard]] std::vector<std::string> urlSchemesOf(const plist::Dictionary& information);

}  // namespace platform
