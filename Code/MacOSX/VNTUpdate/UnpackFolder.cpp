#include "Code/MacOSX/VNTUpdate/UnpackFolder.h"

#include <vector>

#include "Code/Common/DeltaTree.h"
#include "runtime/Code/ZRLog.h"

namespace {

/// The walk over one folder tree; it never enters a link.
class LinkRemoval {
 public:
  explicit LinkRemoval(platform::FileManager& fileManager) : _fileManager(fileManager) {}

  [[nodiscard]] bool run(const std::string& folder) {
    if (resolvePath(folder, _resolvedFolder).isFailure())
      return true;  // nothing can be unpacked there either
    return clean(folder);
  }

 private:
  [[nodiscard]] bool clean(const std::string& folder) {
    std::vector<std::string> names;
    if (!list(folder, names)) return false;
    bool isClean = true;
    for (const auto& name : names)
      isClean = cleanEntry(folder + "/" + name) && isClean;
    return isClean;
  }

  /// A folder that may be entered but not listed hides its links from us, not from the unpacking tool.
  [[nodiscard]] bool list(const std::string& folder, std::vector<std::string>& names) {
    if (!_fileManager.contentsOfFolder(folder, names).failed()) return true;
    static_cast<void>(_fileManager.setAttributes(folder, {.permissions = 0755}));  // the second look tells
    const auto error = _fileManager.contentsOfFolder(folder, names);
    if (!error.failed()) return true;
    zrrt::log(ZRLogLevel::eError, "Unable to look for links in %s: %s", folder.c_str(),
              error.description.c_str());
    return false;
  }

  [[nodiscard]] bool cleanEntry(const std::string& path) {
    const TreeEntry entry = treeEntry(path);
    if (entry == TreeEntry::folder) return clean(path);
    const bool isLink = entry == TreeEntry::linkToFolder || entry == TreeEntry::otherLink;
    return !isLink || staysInside(path) || removeLink(path);
  }

  [[nodiscard]] bool staysInside(const std::string& link) const {
    ZRString target;
    return resolvePath(link, target).isSuccess() &&
           target.startsWith(withTrailingSlash(_resolvedFolder).view());
  }

  [[nodiscard]] bool removeLink(const std::string& path) {
    const auto error = _fileManager.removeItem(path);
    if (!error.failed()) {
      zrrt::log(ZRLogLevel::eWarning, "Removed link at %s, which leads out of the temporary folder",
                path.c_str());
      return true;
    }
    zrrt::log(ZRLogLevel::eError, "Unable to remove link at %s, which leads out of the temporary folder: %s",
              path.c_str(), error.description.c_str());
    return false;
  }

  platform::FileManager& _fileManager;
  ZRString _resolvedFolder;
};

}  // namespace

bool removeLinksLeadingOutside(platform::FileManager& fileManager, const std::string& tempPath) {
  return LinkRemoval(fileManager).run(tempPath);
}

bool isRealFolder(const std::string& path) {
  return treeEntry(path) == TreeEntry::folder;
}

bool isAbsent(const std::string& path) {
  return treeEntry(path) == TreeEntry::nothing;
}
