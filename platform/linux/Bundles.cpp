#include "platform/linux/Bundles.h"

#include <unistd.h>

#include <array>
#include <climits>
#include <string_view>

#include "platform/Bundle.h"
#include "platform/Path.h"

namespace platform {

std::optional<std::string> bundleOfExecutable(const std::string& executable) {
  constexpr std::string_view kFolder = ".app/Contents/MacOS";
  const std::string folder = parentFolder(executable);
  if (!std::string_view(folder).ends_with(kFolder)) return std::nullopt;
  return folder.substr(0, folder.size() - kFolder.size()) + ".app";
}

std::string informationPath(const std::string& bundlePath) {
  return joinPath(bundlePath, "Contents/Info.plist");
}

std::optional<std::string> bundleIdentifier(const std::string& bundlePath) {
  plist::Dictionary information;
  if (bundleInformation(bundlePath, information).failed()) return std::nullopt;
  const plist::Value* identifier = plist::find(information, "CFBundleIdentifier");
  const auto* text = identifier != nullptr ? identifier->as<std::string>() : nullptr;
  return text != nullptr ? std::optional(*text) : std::nullopt;
}

std::optional<std::string> executableOfProcess(const std::string& process) {
  constexpr std::string_view kRemovedMark = " (deleted)";
  std::array<char, PATH_MAX + 1> target{};
  const ssize_t size = readlink(("/proc/" + process + "/exe").c_str(), target.data(), target.size() - 1);
  if (size <= 0) return std::nullopt;
  std::string path(target.data(), static_cast<std::size_t>(size));
  if (std::string_view(path).ends_with(kRemovedMark) && access(path.c_str(), F_OK) != 0) {
    path.erase(path.size() - kRemovedMark.size());
  }
  return path;
}

}  // namespace platform
