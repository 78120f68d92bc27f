#include "runtime/Json/ZRJsonValue.h"

#include <utility>

#include "runtime/Json/JsonValue.h"

using foundation::json::JsonNode;
using foundation::json::JsonNumber;
using foundation::json::JsonValue;

namespace {

ZRResult badState(const char* expression, const ZRLocation& location) {
  ZRResult result = ZRResult::parameterCheckFailed(expression, location);
  result.setCode(ZRError::eBadState);
  return result;
}

ZRResult failure(std::uint32_t code, const char* reason, const ZRLocation& location) {
  return ZRResult(code).wrapped(reason, location);
}

// The payload of that kind, or the failure for another kind.
template <typename Payload>
ZRResult payloadOf(const JsonValue& node, const char* reason, const Payload*& payload) {
  payload = node.as<Payload>();
  return payload != nullptr ? ZRResult() : failure(ZRError::eBadFormat, reason, ZR_HERE);
}

ZRResult readItem(const JsonValue& node, std::size_t index, JsonNode& item) {
  const auto* array = node.asArray();
  if (array == nullptr) return failure(ZRError::eBadFormat, "Not an array", ZR_HERE);
  if (index >= array->size()) return failure(ZRError::eBadIndex, "No such element", ZR_HERE);
  item = array->item(index);
  return ZRError::eNoError;
}

ZRResult readMember(const JsonValue& node, const char* key, JsonNode& member) {
  const auto* object = node.asObject();
  if (object == nullptr) return failure(ZRError::eBadFormat, "Not an object", ZR_HERE);
  if (*key == '\0') return failure(ZRError::eBadParameter, "Empty key", ZR_HERE);
  JsonNode found = object->member(key);
  if (found == nullptr) return failure(ZRError::eNotFound, "No such member", ZR_HERE);
  member = std::move(found);
  return ZRError::eNoError;
}

}  // namespace

ZRJsonValue::ZRJsonValue() : _impl(boost::make_shared<JsonValue>()) {}
ZRJsonValue::ZRJsonValue(JsonNode node) : _impl(std::move(node)) {}
ZRJsonValue::~ZRJsonValue() = default;

#define CHECK_NODE() \
  if (!_isValid()) return badState("_impl.get() != __null", ZR_HERE)

ZRResult ZRJsonValue::getBool(bool& value) const {
  CHECK_NODE();
  const bool* payload = nullptr;
  ZR_RETURN_FAILURE(payloadOf(*_impl, "Not a boolean", payload));
  value = *payload;
  return ZRError::eNoError;
}

ZRResult ZRJsonValue::getInt32(std::int32_t& value) const {
  CHECK_NODE();
  const JsonNumber* payload = nullptr;
  ZR_RETURN_FAILURE(payloadOf(*_impl, "Not a number", payload));
  ZR_RETURN_FAILURE(payload->toInt32(value));
  return ZRError::eNoError;
}

ZRResult ZRJsonValue::getUInt32(std::uint32_t& value) const {
  CHECK_NODE();
  const JsonNumber* payload = nullptr;
  ZR_RETURN_FAILURE(payloadOf(*_impl, "Not a number", payload));
  ZR_RETURN_FAILURE(payload->toUInt32(value));
  return ZRError::eNoError;
}

ZRResult ZRJsonValue::getString(ZRString& value) const {
  ZRString whole;
  ZR_RETURN_FAILURE(getWholeString(whole));
  value = ZRString(whole.c_str());
  return ZRError::eNoError;
}

ZRResult ZRJsonValue::getWholeString(ZRString& value) const {
  CHECK_NODE();
  const std::string* payload = nullptr;
  ZR_RETURN_FAILURE(payloadOf(*_impl, "Not a string", payload));
  value = ZRString(*payload);
  return ZRError::eNoError;
}

ZRResult ZRJsonValue::getItem(std::size_t index, ZRJsonValue& value) const {
  CHECK_NODE();
  JsonNode item;
  ZR_RETURN_FAILURE(readItem(*_impl, index, item));
  value = ZRJsonValue(std::move(item));
  return ZRError::eNoError;
}

ZRResult ZRJsonValue::getMember(const char* key, ZRJsonValue& value) const {
  CHECK_NODE();
  if (key == nullptr) return ZRResult::parameterCheckFailed("key != __null", ZR_HERE);
  JsonNode member;
  ZR_RETURN_FAILURE(readMember(*_impl, key, member));
  value = ZRJsonValue(std::move(member));
  return ZRError::eNoError;
}

ZRResult ZRJsonValue::getSize(std::size_t& count) const {
  if (!_isValid()) return badState("_isValid()", ZR_HERE);
  if (const auto* object = _impl->asObject()) {
    count = object->size();
  } else if (const auto* array = _impl->asArray()) {
    count = array->size();
  } else {
    return failure(ZRError::eBadFormat, "Not an object", ZR_HERE);
  }
  return ZRError::eNoError;
}

#undef CHECK_NODE
