#include "runtime/Registry/ZRRegEntry.h"

#include <cmath>
#include <limits>
#include <memory>
#include <set>
#include <type_traits>
#include <utility>

#include "runtime/Code/ZRLog.h"

namespace {

namespace plist = platform::plist;
namespace preferences = platform::preferences;

constexpr const char* kApplicationPrefix = "com.korvane";
constexpr const char* kRoots[] = {"software/halvard/", "software/korvane/", "software/korvaneinc/"};

/// A mutex that outlives everything of the process that may still read settings.
ZRThreadMutex& immortalMutex(const char* name) {
  return *std::make_unique<ZRThreadMutex>(name).release();
}

preferences::Scope preferencesScope(const ZRString& application, std::uint32_t scope) {
  const bool ofAnyUser = scope == ZRRegEntry::eAllUsersThisHost || scope == ZRRegEntry::eAllUsersAnyHost;
  return {application.str(), ofAnyUser ? preferences::User::any : preferences::User::current,
          scope == ZRRegEntry::eAllUsersAnyHost ? preferences::Host::any : preferences::Host::current};
}

template <typename To, typename From>
bool convertInteger(From from, To& to) {
  if constexpr (std::is_floating_point_v<To>) {
    // Every integer fits into the range; whether it came through whole shows on the way back. 2^digits itself
    // is the first value that would not fit into `From`, and it lies within the rounding of the largest one.
    to = static_cast<To>(from);
    return to < std::ldexp(To{1}, std::numeric_limits<From>::digits) && static_cast<From>(to) == from;
  } else {
    if (!std::in_range<To>(from)) return false;
    to = static_cast<To>(from);
    return true;
  }
}

template <typename To>
bool convertReal(double from, To& to) {
  if constexpr (std::is_floating_point_v<To>) {
    if (std::isfinite(from) && std::fabs(from) > static_cast<double>(std::numeric_limits<To>::max()))
      return false;
    to = static_cast<To>(from);
    return std::isnan(from) || static_cast<double>(to) == from;
  } else {
    // Both limits are powers of two, so a double holds them exactly.
    constexpr bool kSigned = std::numeric_limits<To>::is_signed;
    const double end = std::ldexp(1.0, std::numeric_limits<To>::digits);
    if (!(from >= (kSigned ? -end : 0.0) && from < end)) return false;
    to = static_cast<To>(from);
    return static_cast<double>(to) == from;
  }
}

template <typename To>
bool convertNumber(const plist::Value& value, To& to) {
  if (const auto* number = value.as<std::int64_t>()) return convertInteger(*number, to);
  if (const auto* number = value.as<std::uint64_t>()) return convertInteger(*number, to);
  if (const auto* number = value.as<double>()) return convertReal(*number, to);
  return false;
}

}  // namespace

ZRThreadMutex& ZRRegEntry::registryMutex() {
  static ZRThreadMutex& mutex = immortalMutex("Mutex to protect registry file");
  return mutex;
}

ZRThreadMutex& ZRRegEntry::systemBoundKeyMutex() {
  static ZRThreadMutex& mutex = immortalMutex("Mutex to protect cached system bound key");
  return mutex;
}

ZRResult ZRRegEntry::open(const ZRString& keyPath, std::uint32_t scope) {
  _keyPath = keyPath;
  _scope = scope;
  mapKeyPath();
  _preferences = preferencesScope(_application, scope);
  return ZRError::eNoError;
}

void ZRRegEntry::mapKeyPath() {
  _application = kApplicationPrefix;
  _keyPrefix = _keyPath;
  if (mapBelowRoot() || !_keyPath.startsWith(kApplicationPrefix)) return;
  const std::size_t slash = _keyPath.find('/');
  _application = ZRString(_keyPath.view().substr(0, slash));
  _keyPrefix = slash == ZRString::npos ? ZRString() : ZRString(_keyPath.view().substr(slash + 1));
}

bool ZRRegEntry::mapBelowRoot() {
  ZRString lowered = _keyPath;
  lowered.toLower();
  for (const std::string_view root : kRoots) {
    if (!lowered.startsWith(root)) continue;
    std::string_view rest = _keyPath.view().substr(root.size());
    _keyPrefix = ZRString();
    if (rest.empty()) return true;
    _application += '.';
    if (const std::size_t slash = rest.find('/');
        slash != std::string_view::npos && slash + 1 < rest.size()) {
      _keyPrefix = ZRString(rest.substr(slash + 1));
      rest = rest.substr(0, slash);
    } else if (rest.back() == '/') {
      rest.remove_suffix(1);
    }
    _application += ZRString(rest);
    return true;
  }
  return false;
}

std::string ZRRegEntry::preferencesKey(const ZRString& name) const {
  return _keyPrefix.isEmpty() ? name.str() : _keyPrefix.str() + "/" + name.str();
}

ZRResult ZRRegEntry::read(const ZRString& name, StoredValue& value) const {
  if (_application.isEmpty()) return ZRError::eNotInitialized;
  const ZRThreadMutex::Guard guard(registryMutex());
  value = readStored(preferencesKey(name), _preferences);
  return value ? ZRError::eNoError : ZRError::eNotFound;
}

ZRResult ZRRegEntry::write(const ZRString& name, const StoredValue& value) {
  if (_application.isEmpty()) return ZRError::eNotInitialized;
  const ZRThreadMutex::Guard guard(registryMutex());
  writeStored(preferencesKey(name), value, _preferences);
  return preferences::synchronize(_application.str()) ? ZRError::eNoError : ZRError::eIOError;
}

template <typename T>
ZRResult ZRRegEntry::getNumber(const ZRString& name, T& value) const {
  StoredValue stored;
  if (const ZRResult outcome = read(name, stored); outcome.isFailure()) return outcome;
  T converted{};
  if (!convertNumber(*stored, converted)) return ZRError::eInvalidType;
  value = converted;
  return ZRError::eNoError;
}

template ZRResult ZRRegEntry::getNumber(const ZRString&, std::int32_t&) const;
template ZRResult ZRRegEntry::getNumber(const ZRString&, std::uint32_t&) const;
template ZRResult ZRRegEntry::getNumber(const ZRString&, std::int64_t&) const;
template ZRResult ZRRegEntry::getNumber(const ZRString&, std::uint64_t&) const;
template ZRResult ZRRegEntry::getNumber(const ZRString&, float&) const;
template ZRResult ZRRegEntry::getNumber(const ZRString&, double&) const;

ZRResult ZRRegEntry::getBoolean(const ZRString& name, bool& value) const {
  StoredValue stored;
  if (const ZRResult result = read(name, stored); result.isFailure()) return result;
  const auto* boolean = stored->as<bool>();
  if (boolean == nullptr) return ZRError::eInvalidType;
  value = *boolean;
  return ZRError::eNoError;
}

ZRResult ZRRegEntry::getString(const ZRString& name, ZRString& value, const ZRString& defaultValue) const {
  StoredValue stored;
  const ZRResult outcome = read(name, stored);
  const auto* text = outcome.isSuccess() ? stored->as<std::string>() : nullptr;
  value = text != nullptr ? ZRString::fromPlatformString(*text) : defaultValue;
  return outcome.isSuccess() && text == nullptr ? ZRResult(ZRError::eInvalidType) : outcome;
}

ZRResult ZRRegEntry::getStringList(const ZRString& name, std::vector<ZRString>& values) const {
  values.clear();
  ZRString text;
  if (const ZRResult outcome = getString(name, text); outcome.isFailure()) return outcome;
  values = text.split('\n');
  return ZRError::eNoError;
}

ZRResult ZRRegEntry::getData(const ZRString& name, ZRMemBlock& value, const ZRMemBlock& defaultValue) const {
  StoredValue stored;
  const ZRResult outcome = read(name, stored);
  const auto* bytes = outcome.isSuccess() ? stored->as<plist::Data>() : nullptr;
  value = bytes != nullptr ? ZRMemBlock(bytes->data(), bytes->size()) : defaultValue;
  return outcome.isSuccess() && bytes == nullptr ? ZRResult(ZRError::eInvalidType) : outcome;
}

ZRResult ZRRegEntry::setValue(const ZRString& name, const plist::Value& value) {
  return write(name, value);
}

ZRResult ZRRegEntry::setString(const ZRString& name, const ZRString& value) {
  return write(name, plist::Value(value.toPlatformString()));
}

ZRResult ZRRegEntry::deleteValue(const ZRString& name) {
  zrReport(ZRLogLevel::eWarning, write(name, std::nullopt), "Error returned", ZR_HERE);
  return ZRError::eNoError;
}

std::vector<ZRString> ZRRegEntry::keysBelowPrefix() const {
  const ZRThreadMutex::Guard guard(registryMutex());
  const std::string prefix = preferencesKey("");
  std::vector<ZRString> names;
  for (const std::string& key : preferences::copyKeyList(_preferences)) {
    if (key.compare(0, prefix.size(), prefix) == 0) names.emplace_back(key.substr(prefix.size()));
  }
  return names;
}

ZRResult ZRRegEntry::enumerateValues(std::vector<ZRString>& names) const {
  names.clear();
  if (_application.isEmpty()) return ZRError::eNotInitialized;
  for (const ZRString& key : keysBelowPrefix()) {
    if (key.find('/') == ZRString::npos) names.push_back(key);
  }
  return ZRError::eNoError;
}

ZRResult ZRRegEntry::enumerateKeys(std::vector<ZRString>& names) const {
  names.clear();
  if (_application.isEmpty()) return ZRError::eNotInitialized;
  std::set<ZRString> found;
  for (const ZRString& key : keysBelowPrefix()) {
    const std::size_t slash = key.find('/');
    if (slash != ZRString::npos) found.insert(ZRString(key.view().substr(0, slash)));
  }
  names.assign(found.begin(), found.end());
  return ZRError::eNoError;
}

ZRRegEntry::StoredValue ZRClearEntry::readStored(const std::string& key,
                                                 const preferences::Scope& scope) const {
  return preferences::copyValue(key, scope);
}

void ZRClearEntry::writeStored(const std::string& key, const StoredValue& value,
                               const preferences::Scope& scope) {
  preferences::setValue(key, value, scope);
}
