#pragma once

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <cstdint>

#include "runtime/Code/ZRResult.h"
#include "runtime/Strings/ZRString.h"

namespace foundation::json {
class JsonValue;
}

/// A handle on a value of a parsed JSON document. Copies and children share the document's nodes and keep
/// them alive. Handles on the same nodes may be used and released on different threads.
///
/// All getters fail with eBadState on a handle without a node (one that was moved from), and leave their
/// out-parameter as it was after a failure.
class ZRJsonValue {
 public:
  /// A new null value.
  ZRJsonValue();
  explicit ZRJsonValue(boost::shared_ptr<foundation::json::JsonValue> node);
  ZRJsonValue(const ZRJsonValue&) = default;
  ZRJsonValue(ZRJsonValue&&) noexcept = default;
  ZRJsonValue& operator=(const ZRJsonValue&) = default;
  ZRJsonValue& operator=(ZRJsonValue&&) noexcept = default;
  virtual ~ZRJsonValue();

  /// Fails: eBadFormat when the value is not a boolean.
  ZRResult getBool(bool& value) const;
  /// Fails: eBadFormat when the value is not a number; eTooLong when it is out of range or not an integer.
  ZRResult getInt32(std::int32_t& value) const;
  ZRResult getUInt32(std::uint32_t& value) const;
  /// The text up to its first zero byte. Fails: eBadFormat when the value is not a string.
  ZRResult getString(ZRString& value) const;
  /// The text with the zero bytes that stand in it. Fails: as `getString`.
  ZRResult getWholeString(ZRString& value) const;

  /// The element at `index`. Fails: eBadFormat when the value is not an array; eBadIndex.
  ZRResult getItem(std::size_t index, ZRJsonValue& value) const;
  /// The member of that name. Fails: eBadParameter for a null or empty key; eBadFormat when the value is not
  /// an object; eNotFound.
  ZRResult getMember(const char* key, ZRJsonValue& value) const;
  /// The number of members or elements. Fails: eBadFormat "Not an object" when the value is neither object
  /// nor array.
  ZRResult getSize(std::size_t& count) const;

 private:
  [[nodiscard]] bool _isValid() const noexcept { return _impl.get() != nullptr; }

  boost::shared_ptr<foundation::json::JsonValue> _impl;
};

/// The member of that name, read as what it must be. Fails: as `getMember` and the getter of the type.
inline ZRResult getBoolMember(const ZRJsonValue& object, const char* key, bool& value) {
  ZRJsonValue member;
  ZR_RETURN_FAILURE(object.getMember(key, member));
  ZR_RETURN_FAILURE(member.getBool(value));
  return ZRError::eNoError;
}

inline ZRResult getInt32Member(const ZRJsonValue& object, const char* key, std::int32_t& value) {
  ZRJsonValue member;
  ZR_RETURN_FAILURE(object.getMember(key, member));
  ZR_RETURN_FAILURE(member.getInt32(value));
  return ZRError::eNoError;
}

inline ZRResult getUInt32Member(const ZRJsonValue& object, const char* key, std::uint32_t& value) {
  ZRJsonValue member;
  ZR_RETURN_FAILURE(object.getMember(key, member));
  ZR_RETURN_FAILURE(member.getUInt32(value));
  return ZRError::eNoError;
}

inline ZRResult getStringMember(const ZRJsonValue& object, const char* key, ZRString& value) {
  ZRJsonValue member;
  ZR_RETURN_FAILURE(object.getMember(key, member));
  ZR_RETURN_FAILURE(member.getString(value));
  return ZRError::eNoError;
}
