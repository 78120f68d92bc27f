#pragma once

#include <string_view>

#include "platform/Error.h"

namespace platform::plist {

/// What the system's reader of lists leaves unchecked. It recurses once per level and builds as many values
/// as there are, so a list beyond the limits has to be refused before it reaches it. It also takes a list
/// without its outer element, declarations of entities, characters that are no base 64, and days that no
/// month has. `xml` is UTF-8; markup that is merely broken is left for the reader to refuse.
Error checkXml(std::string_view xml);

}  // namespace platform::plist
