#include "Code/MacOSX/VNTUpdate/AgentPreferences.h"

#include "Code/MacOSX/VNTHelperData.h"
#include "platform/Folders.h"
#include "runtime/Code/ZRLog.h"

namespace plist = platform::plist;

namespace {

void warnOfType(const char* key) {
  zrrt::log(ZRLogLevel::eWarning, "Preferences value %s has the wrong type and is ignored", key);
}

}  // namespace

std::optional<AgentPreferences> AgentPreferences::read(const platform::FileManager& fileManager) {
  const auto library = platform::libraryFolder();
  if (!library) {
    zrrt::log(ZRLogLevel::eError, "Library path not found");
    return std::nullopt;
  }
  const std::string path = *library + "/" + gVNTUpdateData.preferencesPlist();
  if (fileManager.itemKind(path) == platform::ItemKind::none) {
    zrrt::log(ZRLogLevel::eError, "Preferences not found at %s", path.c_str());
    return std::nullopt;
  }
  plist::Value list;
  auto* dictionary = plist::read(path, list).failed() ? nullptr : list.as<plist::Dictionary>();
  if (dictionary == nullptr) {
    zrrt::log(ZRLogLevel::eError, "Error reading plist at %s", path.c_str());
    return std::nullopt;
  }
  return AgentPreferences(path, std::move(*dictionary));
}

std::optional<platform::Date> AgentPreferences::date(const char* key) const {
  const plist::Value* value = plist::find(_params, key);
  if (value == nullptr) return std::nullopt;
  const auto* date = value->as<platform::Date>();
  if (date == nullptr) warnOfType(key);
  return date != nullptr ? std::optional(*date) : std::nullopt;
}

std::optional<std::string> AgentPreferences::text(const char* key) const {
  const plist::Value* value = plist::find(_params, key);
  if (value == nullptr) return std::nullopt;
  const auto* text = value->as<std::string>();
  if (text == nullptr) warnOfType(key);
  return text != nullptr ? std::optional(*text) : std::nullopt;
}

std::optional<std::int32_t> AgentPreferences::integer(const char* key) const {
  const plist::Value* value = plist::find(_params, key);
  if (value == nullptr) return std::nullopt;
  const auto number = value->integerValue();
  if (!number) warnOfType(key);
  return number ? std::optional(static_cast<std::int32_t>(*number)) : std::nullopt;
}

std::optional<bool> AgentPreferences::boolean(const char* key) const {
  const plist::Value* value = plist::find(_params, key);
  if (value == nullptr) return std::nullopt;
  const auto answer = value->booleanValue();
  if (!answer) warnOfType(key);
  return answer;
}

void AgentPreferences::setValue(const std::string& key, plist::Value value) {
  _params.insert_or_assign(key, std::move(value));
}

platform::Error AgentPreferences::save() const {
  return plist::write(_plistPath, plist::Value(_params));
}
