#include "Code/Common/DeltaPatching.h"

#include <boost/make_shared.hpp>
#include <utility>
#include <vector>

#include "Code/Common/CommandRunner.h"
#include "Code/Common/DeltaPackageFormat.h"
#include "Code/Common/TaskBatch.h"
#include "runtime/Code/ZRLog.h"
#include "runtime/File/ZRFile.h"
#include "runtime/File/ZRFileFind.h"

namespace {

constexpr std::uint32_t kPatchLimitMilliseconds = 60000;

ZRResult listFolder(const ZRString& folder, std::vector<ZRString>& names) {
  ZRFileFind find;
  ZRString name;
  ZRResult result = find.getFirst(folder, "*", name);
  for (; result.isSuccess(); result = find.getNext(name))
    if (name != "." && name != "..") names.push_back(name);
  return result.code() == ZRError::eEnd ? ZRResult() : result;
}

/// The patch tool opens what stands in the place of its new file and writes through it: a link, a device, or
/// a file that has another name elsewhere would take the bytes out of the tree.
ZRResult requirePatchable(const ZRString& patch, const ZRString& newFile) {
  if (treeEntry(patch) != TreeEntry::file) return refusedEntry(patch, "is not a file");
  const TreeEntry inTheWay = treeEntry(newFile);
  const bool isOnlyName = inTheWay == TreeEntry::file && !hasOtherNames(newFile);
  if (inTheWay != TreeEntry::nothing && inTheWay != TreeEntry::folder && !isOnlyName) {
    return refusedEntry(newFile, "is in the way of a patched file");
  }
  return ZRError::eNoError;
}

/// `delta` and `source` are a folder of the package and its counterpart, each with a "/" at its end.
ZRResult queuePatch(const ZRString& delta, const ZRString& source, const ZRString& name, TaskBatch& patches) {
  const ZRString base = name.substr(0, name.length() - static_cast<std::int32_t>(kPatchSuffix.size()));
  const ZRString patch = delta + name;
  const ZRString newFile = delta + base;
  ZR_RETURN_FAILURE(requirePatchable(patch, newFile));
  ZRString command;
  ZR_RETURN_FAILURE(makeCommandLine("/usr/bin/bspatch", {source + base, newFile, patch}, command));
  return patches.add(boost::make_shared<PatchTask>(command, patch));
}

}  // namespace

PatchTask::PatchTask(ZRString command, ZRString patchPath)
    : ZRTask("Patch"), _command(std::move(command)), _patchPath(std::move(patchPath)) {}

ZRResult PatchTask::run(ZRDynamicPoolWorkerThread& /*worker*/) {
  ZR_RETURN_FAILURE(runCommand(_command, kPatchLimitMilliseconds));
  zrReport(ZRLogLevel::eDebug, ZRFile::remove(_patchPath), "Error returned", ZR_HERE);
  return ZRError::eNoError;
}

ZRResult TreePatcher::walk(const ZRString& deltaFolder, const ZRString& sourceFolder) const {
  std::vector<ZRString> names;
  ZR_RETURN_FAILURE(listFolder(deltaFolder, names));
  const ZRString delta = withTrailingSlash(deltaFolder);
  const ZRString source = withTrailingSlash(sourceFolder);
  TaskBatch patches(_pool);
  for (const ZRString& name : names) {
    const TreeEntry entry = treeEntry(delta + name);
    if (entry == TreeEntry::folder) {
      ZR_RETURN_FAILURE(walk(delta + name, source + name));
    } else if (entry == TreeEntry::linkToFolder) {
      ZR_RETURN_FAILURE(_tree.requireInside(delta + name));
    } else if (name.endsWith(kPatchSuffix)) {
      ZR_RETURN_FAILURE(queuePatch(delta, source, name, patches));
    }
  }
  return patches.wait();
}
