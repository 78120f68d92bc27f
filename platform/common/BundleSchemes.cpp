#include "platform/common/BundleSchemes.h"

#include <set>

#include "platform/Text.h"

namespace platform {
namespace {

/// Null when there is no array of that name.
const plist::Array* arrayOf(const plist::Dictionary& dictionary, const std::string& key) {
  const plist::Value* value = plist::find(dictionary, key);
  return value != nullptr ? value->as<plist::Array>() : nullptr;
}

void addSchemes(const plist::Dictionary& type, std::set<std::string>& schemes) {
  const plist::Array* names = arrayOf(type, "CFBundleURLSchemes");
  if (names == nullptr) return;
  for (const auto& name : *names) {
    const auto* text = name.as<std::string>();
    if (text != nullptr && text->find('\n') == std::string::npos) schemes.insert(lowerCase(*text));
  }
}

}  // namespace

std::vector<std::string> urlSchemesOf(const plist::Dictionary& information) {
  std::set<std::string> schemes;
  if (const plist::Array* types = arrayOf(information, "CFBundleURLTypes")) {
    for (const auto& type : *types)
      if (const auto* dictionary = type.as<plist::Dictionary>()) addSchemes(*dictionary, schemes);
  }
  return {schemes.begin(), schemes.end()};
}

}  // namespace platform
