#pragma once

#include <cstddef>

#include "runtime/Json/ZRJsonValue.h"

/// Parses JSON in UTF-8. Any value may stand at the top. Nesting has no limit.
class ZRJsonParser {
 public:
  /// Parses the text up to its zero byte. Fails as below.
  static ZRResult parse(const char* text, ZRJsonValue& out);

  /// Parses exactly `length` bytes, which need no zero byte behind them. After a failure `out` is what it
  /// was. Fails: eBadParameter for a null text; eNoMemory; eTooLong for a text of more than `maxValues`
  /// values, as far as it is well-formed; eBadFormat "Failed to parse the JSON value".
  static ZRResult parse(const char* text, std::size_t length, ZRJsonValue& out,
                        std::size_t maxValues = static_cast<std::size_t>(-1));
};
