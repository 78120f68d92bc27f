#include "Code/MacOSX/PrivateFolder.h"

#include <utility>

#include "runtime/Code/ZRLog.h"

PrivateFolder::PrivateFolder(platform::FileManager& fileManager, const std::string& parent)
    : _fileManager(fileManager) {
  if (const auto error = _fileManager.createPrivateFolder(parent, _path)) {
    zrrt::log(ZRLogLevel::eError, "Unable to create a folder to work in: %s", error.description.c_str());
    _path.clear();
  }
}

PrivateFolder::~PrivateFolder() {
  if (const auto error = remove()) {
    zrrt::log(ZRLogLevel::eWarning, "Unable to remove a folder that was worked in: %s",
              error.description.c_str());
  }
}

platform::Error PrivateFolder::remove() {
  const std::string path = std::exchange(_path, std::string());
  return path.empty() ? platform::Error() : _fileManager.removeItem(path);
}
