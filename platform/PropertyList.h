#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/Clock.h"
#include "platform/Error.h"

namespace platform::plist {

class Value;

using Array = std::vector<Value>;
using Data = std::vector<std::uint8_t>;
using Dictionary = std::map<std::string, Value>;

/// A reference number, found only in binary lists written by archivers; kept so that a rewrite loses nothing.
struct Uid {
  std::uint64_t number = 0;
  bool operator==(const Uid&) const = default;
};

/// One value of a property list (the XML form of the "PropertyList-1.0" document type and the "bplist00"
/// binary form). Strings are UTF-8. Dates have the resolution of the form they are written in: whole seconds
/// in XML.
class Value {
 public:
  using Storage = std::variant<bool, std::int64_t, std::uint64_t, double, std::string, Date, Data, Uid, Array,
                               Dictionary>;

  Value();  ///< an empty dictionary
  Value(bool value);
  Value(int value);
  Value(std::int64_t value);
  Value(std::uint64_t value);  ///< stored as signed when it fits
  Value(double value);
  Value(std::string value);
  Value(const char* value);
  Value(Date value);
  Value(Data value);
  Value(Uid value);
  Value(Array value);
  Value(Dictionary value);

  /// The value when it is of that type, else null: `value.as<std::string>()`.
  template <typename T>
  [[nodiscard]] const T* as() const noexcept {
    return std::get_if<T>(&_storage);
  }
  template <typename T>
  [[nodiscard]] T* as() noexcept {
    return std::get_if<T>(&_storage);
  }

  /// The platform's conversions of a number or text: a number's integer part (saturated), true as 1, the
  /// leading decimal digits of a text after blanks and an optional sign (none: 0); no value for any other
  /// type.
  [[nodiscard]] std::optional<std::int64_t> integerValue() const;
  /// Non-zero number; a text beginning (after blanks, a sign and zeros) with one of YyTt1-9; no value for any
  /// other type.
  [[nodiscard]] std::optional<bool> booleanValue() const;

  bool operator==(const Value& other) const;

 private:
  Storage _storage;
};

/// The member of that name, or null.
[[nodiscard]] const Value* find(const Dictionary& dictionary, const std::string& key);

/// Limits of a list that is read; beyond them it is refused as malformed.
inline constexpr std::uint64_t kMaxFileBytes = 64ULL << 20;
inline constexpr std::size_t kMaxDepth = 512;
inline constexpr std::size_t kMaxNodes = 1'000'000;

/// Reads a list in either form. A malformed list, one beyond the limits, or one with a malformed value
/// ("12abc" as an integer, "yesterday" as a date) fails with domain Cocoa, code 3840, and a description that
/// says what and where; a shared reference of the binary form counts as often as it is used. Of a key that
/// occurs twice the later value counts; a real out of range is infinity or zero. `value` is set only on
/// success.
Error parse(const std::string& bytes, Value& value);

/// `parse` on a file's contents; a file that cannot be read fails with the POSIX error.
Error read(const std::string& path, Value& value);

/// `read` of a list that must be a dictionary; one that is anything else is malformed. `dictionary` is set
/// only on success.
Error readDictionary(const std::string& path, Dictionary& dictionary);

/// The XML form, ending in a line feed. The same value gives the same bytes. XML has no form for some
/// characters of a text or key (control characters, U+FFFE, what is no UTF-8): U+FFFD stands for each, so
/// that one odd text does not keep the rest from being written.
[[nodiscard]] std::string toXml(const Value& value);

/// `toXml` written with `writeFileAtomically`.
Error write(const std::string& path, const Value& value);

}  // namespace platform::plist
