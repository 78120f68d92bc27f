#include "Code/MacOSX/VNTUpdate/Leftovers.h"

#include "Code/Common/DeltaPackageFormat.h"
#include "Code/Common/DeltaTree.h"
#include "Code/MacOSX/VNTUpdate/TemporaryNames.h"
#include "platform/Path.h"
#include "runtime/Code/ZRLog.h"

using platform::joinPath;

namespace {

void remove(platform::FileManager& fileManager, const std::string& path) {
  const auto error = fileManager.removeItem(path);
  if (error.failed()) {
    zrrt::log(ZRLogLevel::eWarning, "Unable to remove what an earlier run left: %s",
              error.description.c_str());
  } else {
    zrrt::log(ZRLogLevel::eDebug, "Removed what an earlier run left at %s", path.c_str());
  }
}

/// Whether the item is of the form that its name stands for; whatever else has such a name is not ours.
bool isInForm(const std::string& path, TemporaryItem::Kind kind) {
  const TreeEntry entry = treeEntry(path);
  switch (kind) {
    case TemporaryItem::Kind::archive:
      return entry == TreeEntry::file;
    case TemporaryItem::Kind::bundle:
      return entry == TreeEntry::folder;
    case TemporaryItem::Kind::package:
      return entry == TreeEntry::folder && (treeEntry(joinPath(path, "Contents")) != TreeEntry::nothing ||
                                            treeEntry(joinPath(path, kCheckSumsName)) != TreeEntry::nothing);
  }
  return false;
}

}  // namespace

void removeUnfinishedWork(platform::FileManager& fileManager, const std::set<std::string>& folders) {
  for (const auto& folder : folders)
    for (const auto& item : fileManager.unfinishedItems(folder))
      remove(fileManager, item);
}

void removeUselessDownloads(platform::FileManager& fileManager, const EngineSettings& settings,
                            const UpdateInfo& info, const std::vector<std::uint32_t>& installed) {
  std::set<std::uint32_t> wanted;
  for (const auto& build : info.activeBuilds)
    wanted.insert(build.buildNumber);
  if (settings.cleanupDownloadCache != 0) {
    for (const std::uint32_t build : installed)
      wanted.erase(build);
  }
  std::vector<std::string> names;
  static_cast<void>(fileManager.contentsOfFolder(settings.tempPath, names));  // then nothing is removed
  for (const auto& name : names) {
    const auto item = temporaryItemOf(name);
    if (!item || (item->kind == TemporaryItem::Kind::archive && wanted.count(item->build) != 0)) continue;
    const std::string path = joinPath(settings.tempPath, name);
    if (isInForm(path, item->kind)) remove(fileManager, path);
  }
}
