#pragma once

#include <boost/any.hpp>
#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/Code/ZRResult.h"

/// @file
/// The values of a JSON document. A tree is not changed once it has been parsed, so its nodes may be shared
/// between threads. It may be nested as deep as memory allows: it is released without recursion.

namespace foundation::json {

class JsonValue;
using JsonNode = boost::shared_ptr<JsonValue>;

/// The payload of null.
struct JsonNull {};

/// A number as its text asked for it.
struct JsonNumber {
  enum Tag : std::uint32_t { eInt32 = 0, eUInt32 = 1, eInt64 = 2, eUInt64 = 3, eDouble = 4 };

  Tag tag = eInt32;
  union {
    std::int64_t asSigned = 0;  ///< eInt32, eInt64
    std::uint64_t asUnsigned;   ///< eUInt32, eUInt64
    double asDouble;            ///< eDouble
  };

  /// The smallest tag that holds the value.
  [[nodiscard]] static JsonNumber fromSigned(std::int64_t value) noexcept;
  [[nodiscard]] static JsonNumber fromUnsigned(std::uint64_t value) noexcept;
  [[nodiscard]] static JsonNumber fromDouble(double value) noexcept;

  /// Fails: eTooLong for a value out of range and for every double.
  ZRResult toInt32(std::int32_t& value) const;
  ZRResult toUInt32(std::uint32_t& value) const;
};

/// What arrays and objects have in common: how they are released.
class JsonContainer {
 public:
  JsonContainer() = default;
  JsonContainer(const JsonContainer&) = delete;
  JsonContainer& operator=(const JsonContainer&) = delete;

 protected:
  ~JsonContainer() = default;

 private:
  friend class JsonRelease;
  boost::shared_ptr<JsonContainer> _nextToRelease;
};

class JsonArray : public JsonContainer {
 public:
  void append(JsonNode node) { _items.push_back(std::move(node)); }
  [[nodiscard]] std::size_t size() const noexcept { return _items.size(); }
  /// Null when there is none.
  [[nodiscard]] JsonNode item(std::size_t index) const;

 private:
  std::vector<JsonNode> _items;
};

/// Members in the byte order of their keys.
class JsonObject : public JsonContainer {
 public:
  /// Takes the place of a member of the same key. False, and nothing stored, for the empty key.
  [[nodiscard]] bool store(std::string key, JsonNode node);
  [[nodiscard]] std::size_t size() const noexcept { return _members.size(); }
  /// Null when there is none.
  [[nodiscard]] JsonNode member(std::string_view key) const;

 private:
  std::map<std::string, JsonNode, std::less<>> _members;
};

/// A node of the tree; null when it is made. The payload is a JsonNull, bool, JsonNumber, std::string (UTF-8,
/// may hold zero bytes) or a shared pointer to a JsonArray or JsonObject.
class JsonValue {
 public:
  JsonValue() : _payload(JsonNull()) {}
  template <typename Payload>
  explicit JsonValue(Payload&& payload) : _payload(std::forward<Payload>(payload)) {}
  ~JsonValue();
  JsonValue(const JsonValue&) = delete;
  JsonValue& operator=(const JsonValue&) = delete;

  /// Null when the value is of another kind.
  template <typename Payload>
  [[nodiscard]] const Payload* as() const noexcept {
    return boost::any_cast<Payload>(&_payload);
  }
  [[nodiscard]] const JsonArray* asArray() const noexcept;
  [[nodiscard]] const JsonObject* asObject() const noexcept;

 private:
  boost::any _payload;
};

/// Parses exactly the `length` bytes at `text`. Null when they are not one JSON value, and with `isTooLong`
/// set when more than `maxValues` values stand in them. Throws std::bad_alloc.
[[nodiscard]] JsonNode parse(const char* text, std::size_t length, std::size_t maxValues, bool& isTooLong);

}  // namespace foundation::json
