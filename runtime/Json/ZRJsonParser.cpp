#include "runtime/Json/ZRJsonParser.h"

#include <cstring>
#include <new>
#include <utility>

#include "runtime/Json/JsonValue.h"

ZRResult ZRJsonParser::parse(const char* text, ZRJsonValue& out) {
  if (text == nullptr) return ZRResult::parameterCheckFailed("text != __null", ZR_HERE);
  ZR_RETURN_FAILURE(parse(text, std::strlen(text), out));
  return ZRError::eNoError;
}

ZRResult ZRJsonParser::parse(const char* text, std::size_t length, ZRJsonValue& out, std::size_t maxValues) {
  if (text == nullptr) return ZRResult::parameterCheckFailed("text != __null", ZR_HERE);
  try {
    bool isTooLong = false;
    foundation::json::JsonNode root = foundation::json::parse(text, length, maxValues, isTooLong);
    if (isTooLong) return ZRResult(ZRError::eTooLong, "The JSON text holds more than %zu values", maxValues);
    if (root == nullptr) {
      return ZRResult(ZRError::eBadFormat).wrapped("Failed to parse the JSON value", ZR_HERE);
    }
    out = ZRJsonValue(std::move(root));
    return ZRError::eNoError;
  } catch (const std::bad_alloc&) {
    return ZRResult(ZRError::eNoMemory).wrapped("Error returned", ZR_HERE);
  }
}
