#include "runtime/Json/JsonValue.h"

#include <limits>
#include <utility>

namespace foundation::json {

/// Releases containers one after the other, however deep they are nested: one that is to go while another is
/// being released on the same thread waits until that one is gone. The waiting ones hang on each other, so
/// that nothing is allocated here.
class JsonRelease {
 public:
  static void release(boost::shared_ptr<JsonContainer> container) noexcept {
    if (_running != nullptr) {
      _running->postpone(std::move(container));
    } else {
      JsonRelease().run(std::move(container));
    }
  }

 private:
  void postpone(boost::shared_ptr<JsonContainer> container) noexcept {
    if (container.use_count() > 1) return;
    container->_nextToRelease = std::move(_waiting);
    _waiting = std::move(container);
  }

  void run(boost::shared_ptr<JsonContainer> container) noexcept {
    _running = this;
    while (container != nullptr) {
      container.reset();
      container = std::move(_waiting);
      if (container != nullptr) _waiting = std::move(container->_nextToRelease);
    }
    _running = nullptr;
  }

  static thread_local JsonRelease* _running;
  boost::shared_ptr<JsonContainer> _waiting;
};

thread_local JsonRelease* JsonRelease::_running = nullptr;

JsonNumber JsonNumber::fromSigned(std::int64_t value) noexcept {
  using Int32 = std::numeric_limits<std::int32_t>;
  JsonNumber number;
  number.tag = value >= Int32::min() && value <= Int32::max() ? eInt32 : eInt64;
  number.asSigned = value;
  return number;
}

JsonNumber JsonNumber::fromUnsigned(std::uint64_t value) noexcept {
  JsonNumber number;
  number.tag = value <= std::numeric_limits<std::uint32_t>::max() ? eUInt32 : eUInt64;
  number.asUnsigned = value;
  return number;
}

JsonNumber JsonNumber::fromDouble(double value) noexcept {
  JsonNumber number;
  number.tag = eDouble;
  number.asDouble = value;
  return number;
}

namespace {

template <typename Target>
ZRResult toInteger(const JsonNumber& number, Target& value) {
  const bool isSigned = number.tag == JsonNumber::eInt32 || number.tag == JsonNumber::eInt64;
  const bool fits =
      number.tag != JsonNumber::eDouble &&
      (isSigned ? std::in_range<Target>(number.asSigned) : std::in_range<Target>(number.asUnsigned));
  if (!fits) return ZRResult(ZRError::eTooLong).wrapped("The number does not fit", ZR_HERE);
  value = isSigned ? static_cast<Target>(number.asSigned) : static_cast<Target>(number.asUnsigned);
  return ZRError::eNoError;
}

}  // namespace

ZRResult JsonNumber::toInt32(std::int32_t& value) const {
  return toInteger(*this, value);
}

ZRResult JsonNumber::toUInt32(std::uint32_t& value) const {
  return toInteger(*this, value);
}

JsonNode JsonArray::item(std::size_t index) const {
  return index < _items.size() ? _items[index] : JsonNode();
}

bool JsonObject::store(std::string key, JsonNode node) {
  if (key.empty()) return false;
  _members.insert_or_assign(std::move(key), std::move(node));
  return true;
}

JsonNode JsonObject::member(std::string_view key) const {
  const auto found = _members.find(key);
  return found != _members.end() ? found->second : JsonNode();
}

JsonValue::~JsonValue() {
  if (auto* array = boost::any_cast<boost::shared_ptr<JsonArray>>(&_payload)) {
    JsonRelease::release(std::move(*array));
  } else if (auto* object = boost::any_cast<boost::shared_ptr<JsonObject>>(&_payload)) {
    JsonRelease::release(std::move(*object));
  }
}

const JsonArray* JsonValue::asArray() const noexcept {
  const auto* array = as<boost::shared_ptr<JsonArray>>();
  return array != nullptr ? array->get() : nullptr;
}

const JsonObject* JsonValue::asObject() const noexcept {
  const auto* object = as<boost::shared_ptr<JsonObject>>();
  return object != nullptr ? object->get() : nullptr;
}

}  // namespace foundation::json
