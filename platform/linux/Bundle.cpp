#include "platform/Bundle.h"

#include "platform/linux/Bundles.h"

namespace platform {

Error bundleInformation(const std::string& bundlePath, plist::Dictionary& information) {
  return plist::readDictionary(informationPath(bundlePath), information);
}

std::optional<std::string> mainBundleIdentifier() {
  const auto bundle = bundleOfExecutable(executablePath());
  return bundle ? bundleIdentifier(*bundle) : std::nullopt;
}

std::string executablePath() {
  return executableOfProcess("self").value_or(std::string());
}

}  // namespace platform
