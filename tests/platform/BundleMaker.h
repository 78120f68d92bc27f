#pragma once

#include <string>
#include <vector>

#include "platform/PropertyList.h"
#include "tests/support/TemporaryFolder.h"

namespace test {

/// The text of an information dictionary.
inline std::string information(const std::string& identifier, const std::string& version,
                               const std::vector<std::string>& schemes) {
  namespace plist = platform::plist;
  const plist::Array names(schemes.begin(), schemes.end());
  const plist::Dictionary type{{"CFBundleURLName", "Vantora"}, {"CFBundleURLSchemes", names}};
  return plist::toXml(plist::Dictionary{{"CFBundleIdentifier", identifier},
                                        {"CFBundleVersion", version},
                                        {"CFBundleURLTypes", plist::Array{type}}});
}

/// A bundle of the given build, which declares "Vantora" and "Vantora<build>".
inline void makeApplication(const std::string& path, int build) {
  const std::string number = std::to_string(build);
  writeFile(path + "/Contents/Info.plist",
            information("com.korvane.Vantora", number, {"Vantora", "Vantora" + number}));
}

}  // namespace test
