#include "Code/MacOSX/VNTUpdate/EndpointPlacement.h"

#include <cerrno>

#include "Code/Common/DeltaTree.h"
#include "Code/MacOSX/VNTUpdate/TemporaryNames.h"
#include "platform/ApplicationRegistry.h"
#include "platform/Clock.h"
#include "runtime/Code/ZRLog.h"

namespace {

/// Whoever asks which builds are installed goes by what a bundle says of itself.
void checkBuildNumber(const std::string& path, std::uint32_t build) {
  const auto number = bundleBuildNumber(path);
  if (number == static_cast<std::int32_t>(build)) return;
  zrrt::log(ZRLogLevel::eWarning,
            "Endpoint at %s does not say that it is build %d, it will not be found as that", path.c_str(),
            static_cast<int>(build));
}

}  // namespace

std::optional<std::string> EndpointPlacement::getExtractedEndpointPath(std::uint32_t build) const {
  const std::string unpacked = _settings.tempPath + endpointName(build);
  // A link there would install whatever it leads to.
  if (treeEntry(unpacked) == TreeEntry::folder) return unpacked;
  const auto installed = _inventory.isInstalled(build);
  if (!installed) zrrt::log(ZRLogLevel::eError, "Unable to locate extracted endpoint in temp folder");
  return installed;
}

bool EndpointPlacement::installEndpoint(std::uint32_t build, const std::optional<std::string>& folder) const {
  const auto source = getExtractedEndpointPath(build);
  if (!source) {
    zrrt::log(ZRLogLevel::eError, "Unable to locate extracted endpoint!");
    return false;
  }
  const std::string destination = folder.value_or(std::string()) + endpointName(build);
  const auto error = folder ? _fileManager.moveItem(*source, destination)
                            : platform::posixError(ENOENT, "folder for installed builds");
  if (error.failed()) {
    zrrt::log(ZRLogLevel::eError, "Unable to install endpoint to %s: %s", destination.c_str(),
              error.description.c_str());
    // An installed bundle that stood in for an unpacked one is not ours to lose.
    if (*source == _settings.tempPath + endpointName(build)) _store.removeFile(*source);
    return false;
  }
  registerEndpoint(destination);
  checkBuildNumber(destination, build);
  return true;
}

void EndpointPlacement::registerEndpoint(const std::string& path) const {
  const auto registration = platform::applications::registerApplication(path);
  if (registration.failed()) {
    zrrt::log(ZRLogLevel::eWarning, "Unable to register endpoint at %s: %s", path.c_str(),
              registration.description.c_str());
  }
  zrrt::log(ZRLogLevel::eInformation, "Endpoint successfully installed to %s", path.c_str());
  platform::ItemAttributes attributes;
  attributes.creationDate = platform::now();
  const auto error = _fileManager.setAttributes(path, attributes);
  if (error.failed()) {
    zrrt::log(ZRLogLevel::eError, "Unable to update creation date of endpoint at %s: %s", path.c_str(),
              error.description.c_str());
  }
}
