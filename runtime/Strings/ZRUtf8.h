#pragma once

#include <string_view>

namespace zrrt {

/// Whether the bytes are UTF-8 throughout: no stray or missing continuation bytes, no overlong forms, no
/// surrogates.
[[nodiscard]] bool isUtf8(std::string_view text);

}  // namespace zrrt
