#include "platform/PropertyList.h"

#include <cctype>
#include <cmath>
#include <limits>

#include "platform/FileContents.h"
#include "platform/Text.h"
#include "platform/common/PropertyListFormats.h"

namespace platform::plist {
namespace {

constexpr std::int64_t kReadCorruptError = 3840;

Value::Storage smallestInteger(std::uint64_t value) {
  if (value > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) return value;
  return static_cast<std::int64_t>(value);
}

std::int64_t saturatedInteger(double value) {
  constexpr double kLimit = 9223372036854775808.0;  // 2^63
  if (std::isnan(value)) return 0;
  if (value >= kLimit) return std::numeric_limits<std::int64_t>::max();
  if (value <= -kLimit) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(value);
}

/// Past blanks and an optional sign; answers whether the sign is a minus.
bool skipSign(std::string_view& text) {
  while (!text.empty() && isspace(static_cast<unsigned char>(text.front())) != 0)
    text.remove_prefix(1);
  const char sign = text.empty() ? '\0' : text.front();
  if (sign == '-' || sign == '+') text.remove_prefix(1);
  return sign == '-';
}

std::int64_t leadingInteger(std::string_view text) {
  constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
  constexpr auto kMin = std::numeric_limits<std::int64_t>::min();
  const bool negative = skipSign(text);
  std::int64_t number = 0;  // counted down, as the negative range is the larger one
  for (; !text.empty() && isDigit(text.front()); text.remove_prefix(1)) {
    const int digit = text.front() - '0';
    if (number < (kMin + digit) / 10) return negative ? kMin : kMax;
    number = number * 10 - digit;
  }
  if (negative) return number;
  return number == kMin ? kMax : -number;
}

bool beginsAsTrue(std::string_view text) {
  skipSign(text);
  text.remove_prefix(std::min(text.find_first_not_of('0'), text.size()));
  return !text.empty() && std::string_view("YyTt123456789").find(text.front()) != std::string_view::npos;
}

Error inFile(const std::string& path, Error error) {
  if (error.failed()) error.description = path + ": " + error.description;
  return error;
}

}  // namespace

Value::Value() : _storage(Dictionary()) {}
Value::Value(bool value) : _storage(value) {}
Value::Value(int value) : _storage(static_cast<std::int64_t>(value)) {}
Value::Value(std::int64_t value) : _storage(value) {}
Value::Value(std::uint64_t value) : _storage(smallestInteger(value)) {}
Value::Value(double value) : _storage(value) {}
Value::Value(std::string value) : _storage(std::move(value)) {}
Value::Value(const char* value) : _storage(std::string(value)) {}
Value::Value(Date value) : _storage(value) {}
Value::Value(Data value) : _storage(std::move(value)) {}
Value::Value(Uid value) : _storage(value) {}
Value::Value(Array value) : _storage(std::move(value)) {}
Value::Value(Dictionary value) : _storage(std::move(value)) {}

std::optional<std::int64_t> Value::integerValue() const {
  if (const auto* flag = as<bool>()) return *flag ? 1 : 0;
  if (const auto* number = as<std::int64_t>()) return *number;
  if (as<std::uint64_t>() != nullptr) return std::numeric_limits<std::int64_t>::max();
  if (const auto* number = as<double>()) return saturatedInteger(*number);
  if (const auto* text = as<std::string>()) return leadingInteger(*text);
  return std::nullopt;
}

std::optional<bool> Value::booleanValue() const {
  if (const auto* flag = as<bool>()) return *flag;
  if (const auto* number = as<std::int64_t>()) return *number != 0;
  if (as<std::uint64_t>() != nullptr) return true;
  if (const auto* number = as<double>()) return *number != 0;
  if (const auto* text = as<std::string>()) return beginsAsTrue(*text);
  return std::nullopt;
}

bool Value::operator==(const Value& other) const {
  return _storage == other._storage;
}

const Value* find(const Dictionary& dictionary, const std::string& key) {
  const auto member = dictionary.find(key);
  return member == dictionary.end() ? nullptr : &member->second;
}

Error malformed(const std::string& what) {
  return {kCocoaErrorDomain, kReadCorruptError, "The property list cannot be read: " + what + "."};
}

Error parse(const std::string& bytes, Value& value) {
  if (bytes.size() > kMaxFileBytes) return malformed("it is too large");
  return bytes.starts_with(kBinaryMagic) ? parseBinary(bytes, value) : parseXml(bytes, value);
}

Error read(const std::string& path, Value& value) {
  std::string bytes;
  if (auto error = readFile(path, kMaxFileBytes, bytes)) return error;
  return inFile(path, parse(bytes, value));
}

Error readDictionary(const std::string& path, Dictionary& dictionary) {
  Value value;
  if (auto error = read(path, value)) return error;
  auto* found = value.as<Dictionary>();
  if (found == nullptr) return inFile(path, malformed("it holds no dictionary"));
  dictionary = std::move(*found);
  return {};
}

Error write(const std::string& path, const Value& value) {
  return writeFileAtomically(path, toXml(value));
}

}  // namespace platform::plist
