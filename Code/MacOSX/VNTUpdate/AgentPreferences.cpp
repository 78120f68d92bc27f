#include "Code/MacOSX/VNTUpdate/AgentPreferences.h"

#include "Code/MacOSX/VNTHelperData.h"
#include "platform/Folders.h"
#include "platform/Path.h"
#include "runtime/Code/ZRLog.h"

namespace plist = platform::plist;

namespace {

/// The value of that very type.
template <typename Type>
std::optional<Type> exactly(const plist::Value& value) {
  const auto* held = value.as<Type>();
  return held != nullptr ? std::optional(*held) : std::nullopt;
}

}  // namespace

std::optional<AgentPreferences> AgentPreferences::read(const platform::FileManager& fileManager) {
  const auto library = platform::libraryFolder();
  if (!library) {
    zrrt::log(ZRLogLevel::eError, "Library path not found");
    return std::nullopt;
  }
  const std::string path = platform::joinPath(*library, gVNTUpdateData.preferencesPlist());
  if (fileManager.itemKind(path) == platform::ItemKind::none) {
    zrrt::log(ZRLogLevel::eError, "Preferences not found at %s", path.c_str());
    return std::nullopt;
  }
  plist::Dictionary params;
  if (plist::readDictionary(path, params)) {
    zrrt::log(ZRLogLevel::eError, "Error reading plist at %s", path.c_str());
    return std::nullopt;
  }
  return AgentPreferences(path, std::move(params));
}

template <typename Answer>
std::optional<Answer> AgentPreferences::value(const char* key,
                                              std::optional<Answer> (*of)(const plist::Value&)) const {
  const plist::Value* stored = plist::find(_params, key);
  if (stored == nullptr) return std::nullopt;
  auto answer = of(*stored);
  if (!answer) {
    zrrt::log(ZRLogLevel::eWarning, "Preferences value %s has the wrong type and is ignored", key);
  }
  return answer;
}

std::optional<platform::Date> AgentPreferences::date(const char* key) const {
  return value(key, exactly<platform::Date>);
}

std::optional<std::string> AgentPreferences::text(const char* key) const {
  return value(key, exactly<std::string>);
}

std::optional<std::int32_t> AgentPreferences::integer(const char* key) const {
  const auto number = value<std::int64_t>(key, [](const plist::Value& v) { return v.integerValue(); });
  return number ? std::optional(static_cast<std::int32_t>(*number)) : std::nullopt;
}

std::optional<bool> AgentPreferences::boolean(const char* key) const {
  return value<bool>(key, [](const plist::Value& v) { return v.booleanValue(); });
}

void AgentPreferences::setValue(const std::string& key, plist::Value value) {
  _params.insert_or_assign(key, std::move(value));
}

platform::Error AgentPreferences::save() const {
  return plist::write(_plistPath, plist::Value(_params));
}
