#include "Code/Common/DeltaUpdatesTools.h"

#include <utility>

#include "Code/Common/BundleExecutables.h"
#include "Code/Common/CheckSums.h"
#include "Code/Common/CommandRunner.h"
#include "Code/Common/DeltaPackageFormat.h"
#include "Code/Common/DeltaPatching.h"
#include "runtime/Code/ZRLog.h"
#include "runtime/File/ZRFile.h"

namespace {

constexpr std::uint32_t kChmodLimitMilliseconds = 10000;

constexpr const char* kVerifyContext = "ZRResult verifyCheckSums(ZRString, ZRDynamicThreadPool *)";

}  // namespace

ZRResult applyPatch(const ZRString& deltaFolder, const ZRString& sourceFolder, ZRDynamicThreadPool* pool) {
  ZR_CHECK_PARAMETER(pool != nullptr);
  DeltaTree tree;
  ZR_RETURN_FAILURE(tree.open(deltaFolder));
  return TreePatcher(std::move(tree), *pool).walk(deltaFolder, sourceFolder);
}

ZRResult verifyCheckSums(ZRString folder, ZRDynamicThreadPool* pool) {
  zrrt::logEntry(ZRLogLevel::eInformation, nullptr, kVerifyContext, "%s", folder.c_str());
  ZR_CHECK_PARAMETER(pool != nullptr);
  DeltaTree tree;
  ZR_RETURN_FAILURE(tree.open(folder));
  folder = withTrailingSlash(folder);
  const ZRString listPath = folder + kCheckSumsName;

  ZRFile list;
  ZR_RETURN_FAILURE(openCheckSums(listPath, list));
  TaskBatch checks(*pool);
  const ZRResult queued = queueChecks(list, folder, tree, checks);
  const ZRResult closed = list.close();
  const ZRResult checked = checks.wait();  // also after a bad line: nothing reads the tree after this
  ZR_RETURN_FAILURE(queued);
  ZR_RETURN_FAILURE(closed);
  ZR_RETURN_FAILURE(checked);

  (void)ZRFile::remove(listPath);  // a list that stays behind does no harm
  zrrt::logEntry(ZRLogLevel::eInformation, nullptr, kVerifyContext, "Verify checksums success!");
  return ZRError::eNoError;
}

ZRResult setExeFileAttributes(ZRString bundleFolder) {
  zrrt::logEntry(ZRLogLevel::eInformation, nullptr, "ZRResult setExeFileAttributes(ZRString)", "%s",
                 bundleFolder.c_str());
  DeltaTree tree;
  ZR_RETURN_FAILURE(tree.open(bundleFolder));
  bundleFolder = withTrailingSlash(bundleFolder);
  for (const char* executable : kBundleExecutables) {
    const ZRString path = bundleFolder + executable;
    ZR_RETURN_FAILURE(tree.requireInside(path));  // chmod follows links
    ZRString command;
    ZR_RETURN_FAILURE(makeCommandLine("/bin/chmod a+x", {path}, command));
    ZR_RETURN_FAILURE(runCommand(command, kChmodLimitMilliseconds));
  }
  return ZRError::eNoError;
}
