#include "Code/Common/DeltaUpdatesTools.h"

#include <boost/make_shared.hpp>
#include <utility>
#include <vector>

#include "Code/Common/BundleExecutables.h"
#include "Code/Common/DeltaTree.h"
#include "platform/Printable.h"
#include "runtime/Applications/ZRProcessManager.h"
#include "runtime/Code/ZRLog.h"
#include "runtime/Code/ZRMemBlock.h"
#include "runtime/File/ZRFile.h"
#include "runtime/File/ZRFileFind.h"
#include "runtime/NewCrypto/ZRHash.h"
#include "runtime/Threads/ZRDynamicThreadPool.h"

namespace {

constexpr std::uint32_t kPatchLimitMilliseconds = 60000;
constexpr std::uint32_t kChmodLimitMilliseconds = 10000;
/// How long a killed command may take to be gone.
constexpr std::uint32_t kKillLimitMilliseconds = 5000;

constexpr std::string_view kPatchSuffix = ".bsdiff";

/// A name that a package brought, as it may stand in a message.
std::string shown(const ZRString& name) {
  return platform::onOneLine(name.view());
}

using TaskList = std::vector<boost::shared_ptr<ZRTask>>;

ZRResult queueTask(const boost::shared_ptr<ZRTask>& task, ZRDynamicThreadPool& pool, TaskList& tasks) {
  ZR_RETURN_FAILURE(pool.addTask(task));
  tasks.push_back(task);
  return ZRError::eNoError;
}

/// Waits for all tasks, then answers the first failure in the order of the list.
ZRResult waitForTasks(const TaskList& tasks) {
  for (const auto& task : tasks)
    ZR_RETURN_FAILURE(task->completionEvent().wait(ZRSync::kNoLimit));
  for (const auto& task : tasks)
    ZR_RETURN_FAILURE(task->result());
  return ZRError::eNoError;
}

/// The text in double quotes. Fails: eBadParameter when it holds one itself; there is no way to escape it.
ZRResult quoteArgument(const ZRString& text, ZRString& quoted) {
  if (text.find('"') != ZRString::npos) {
    return ZRResult(ZRError::eBadParameter, "A command line cannot carry the double quote in %s",
                    shown(text).c_str());
  }
  quoted = "\"" + text + "\"";
  return ZRError::eNoError;
}

ZRResult listFolder(const ZRString& folder, std::vector<ZRString>& names) {
  ZRFileFind find;
  ZRString name;
  ZRResult result = find.getFirst(folder, "*", name);
  for (; result.isSuccess(); result = find.getNext(name))
    names.push_back(name);
  return result.code() == ZRError::eEnd ? ZRResult() : result;
}

// ---------------------------------------------------------------------------------------------- patches

/// The walk through one package's tree. It never goes through a symbolic link: where one leads inside the
/// tree the walk comes anyway, and elsewhere the package has no business.
class TreePatcher {
 public:
  TreePatcher(ZRString resolvedTop, ZRDynamicThreadPool& pool) : _tree(std::move(resolvedTop)), _pool(pool) {}

  /// Queues and awaits the patches of a folder, those of its sub-folders on the way.
  ZRResult walk(const ZRString& deltaFolder, const ZRString& sourceFolder) {
    std::vector<ZRString> names;
    ZR_RETURN_FAILURE(listFolder(deltaFolder, names));
    const ZRString delta = withTrailingSlash(deltaFolder);
    const ZRString source = withTrailingSlash(sourceFolder);
    TaskList tasks;
    for (const ZRString& name : names) {
      if (name == "." || name == "..") continue;
      ZR_RETURN_FAILURE(treat(delta, source, name, tasks));
    }
    return waitForTasks(tasks);
  }

 private:
  ZRResult treat(const ZRString& delta, const ZRString& source, const ZRString& name, TaskList& tasks) {
    const ZRString path = delta + name;
    const TreeEntry entry = treeEntry(path);
    if (entry == TreeEntry::folder) return walk(path, source + name);
    if (entry == TreeEntry::linkToFolder) return _tree.requireInside(path);
    if (!name.endsWith(kPatchSuffix)) return ZRError::eNoError;
    return queuePatch(delta, source, name, tasks);
  }

  ZRResult queuePatch(const ZRString& delta, const ZRString& source, const ZRString& name, TaskList& tasks) {
    const ZRString base = name.substr(0, name.length() - static_cast<std::int32_t>(kPatchSuffix.size()));
    const ZRString patch = delta + name;
    ZR_RETURN_FAILURE(requirePatchable(patch, delta + base));

    ZRString oldFile, newFile, patchFile;
    ZR_RETURN_FAILURE(quoteArgument(source + base, oldFile));
    ZR_RETURN_FAILURE(quoteArgument(delta + base, newFile));
    ZR_RETURN_FAILURE(quoteArgument(patch, patchFile));
    const ZRString command = "/usr/bin/bspatch " + oldFile + " " + newFile + " " + patchFile;
    return queueTask(boost::make_shared<PatchTask>(command, patch), _pool, tasks);
  }

  /// The patch tool opens what stands in the place of its new file and writes through it: a link, a device,
  /// or a file that has another name elsewhere would take the bytes out of the tree.
  static ZRResult requirePatchable(const ZRString& patch, const ZRString& newFile) {
    if (treeEntry(patch) != TreeEntry::file) {
      return ZRResult(ZRError::eNoAccess, "%s is not a file", shown(patch).c_str());
    }
    const TreeEntry inTheWay = treeEntry(newFile);
    const bool isOnlyName = inTheWay == TreeEntry::file && !hasOtherNames(newFile);
    if (inTheWay != TreeEntry::nothing && inTheWay != TreeEntry::folder && !isOnlyName) {
      return ZRResult(ZRError::eNoAccess, "%s is in the way of a patched file", shown(newFile).c_str());
    }
    return ZRError::eNoError;
  }

  const DeltaTree _tree;
  ZRDynamicThreadPool& _pool;
};

// ---------------------------------------------------------------------------------------------- digests

constexpr std::uint64_t kMaxCheckSumsBytes = 16U << 20;
constexpr std::size_t kMaxCheckSums = 100'000;

constexpr const char* kVerifyContext = "ZRResult verifyCheckSums(ZRString, ZRDynamicThreadPool *)";

/// 32 lower-case hexadecimal digits.
ZRResult fileDigest(const ZRString& path, ZRString& text) {
  ZRMemBlock digest;
  ZR_RETURN_FAILURE(ZRHash::fileDigest(path, digest));
  if (const ZRResult converted = digest.toHex(text); converted.isFailure()) {
    zrReport(ZRLogLevel::eWarning, converted, "Error returned", ZR_HERE);
    return converted.wrapped("Error returned", ZR_HERE);
  }
  text.toLower();
  return ZRError::eNoError;
}

/// Opening something else than a file could wait for ever, or read elsewhere; a list far longer than that of
/// any build would fill the memory.
ZRResult openCheckSums(const ZRString& path, ZRFile& list) {
  const TreeEntry entry = treeEntry(path);
  if (entry != TreeEntry::file && entry != TreeEntry::nothing) {
    return ZRResult(ZRError::eNoAccess, "%s is not a file", shown(path).c_str());
  }
  ZR_RETURN_FAILURE(list.open(path, ZRFile::eRead, ZRFile::eOpenExisting));
  std::uint64_t bytes = 0;
  ZR_RETURN_FAILURE(list.getSize(bytes));
  return bytes <= kMaxCheckSumsBytes ? ZRResult() : ZRResult(ZRError::eTooLong);
}

/// Reads the list and queues a check for each line.
class CheckQueue {
 public:
  CheckQueue(ZRString folder, ZRString resolvedTop, ZRDynamicThreadPool& pool)
      : _folder(std::move(folder)), _tree(std::move(resolvedTop)), _pool(pool) {}

  ZRResult fill(ZRFile& list) {
    ZRString line;
    ZRResult result = list.readLine(line);
    for (; result.code() == ZRError::eNoError; result = list.readLine(line))
      ZR_RETURN_FAILURE(add(line));
    if (result.code() != ZRError::eEnd) ZR_RETURN_FAILURE(result);
    return ZRError::eNoError;
  }
  [[nodiscard]] const TaskList& tasks() const { return _tasks; }

 private:
  ZRResult add(const ZRString& line) {
    if (_tasks.size() == kMaxCheckSums) return ZRError::eTooMany;
    const std::size_t blank = line.findLast(' ');
    if (blank == ZRString::npos) return ZRError::eUnexpected;
    const auto pathLength = static_cast<std::int32_t>(blank);
    const ZRString path = _folder + line.substr(0, pathLength);
    const auto where = _tree.holdsFile(path) ? CheckTask::Where::inTree : CheckTask::Where::elsewhere;
    return queueTask(boost::make_shared<CheckTask>(line.substr(pathLength + 1), path, where), _pool, _tasks);
  }

  const ZRString _folder;
  DeltaTree _tree;
  ZRDynamicThreadPool& _pool;
  TaskList _tasks;
};

// --------------------------------------------------------------------------------------------- commands

/// Ends a command that was not waited for, and sees it gone: it writes nothing after this.
void killCommand(zrrt::IProcess& process) {
  ZRResult result = process.terminate();
  if (result.isSuccess()) result = process.wait(kKillLimitMilliseconds);
  zrReport(ZRLogLevel::eWarning, result, "Error returned", ZR_HERE);
  std::uint8_t status = 0;
  (void)process.getExitCode(status);  // collects it; that it was killed is known
}

}  // namespace

ZRResult applyPatch(const ZRString& deltaFolder, const ZRString& sourceFolder, ZRDynamicThreadPool* pool) {
  ZR_CHECK_PARAMETER(pool != nullptr);
  ZRString resolvedTop;
  ZR_RETURN_FAILURE(resolveTreeTop(deltaFolder, resolvedTop));
  return TreePatcher(resolvedTop, *pool).walk(deltaFolder, sourceFolder);
}

ZRResult verifyCheckSums(ZRString folder, ZRDynamicThreadPool* pool) {
  zrrt::logEntry(ZRLogLevel::eInformation, nullptr, kVerifyContext, "%s", folder.c_str());
  ZR_CHECK_PARAMETER(pool != nullptr);
  ZRString resolvedTop;
  ZR_RETURN_FAILURE(resolveTreeTop(folder, resolvedTop));
  folder = withTrailingSlash(folder);
  const ZRString listPath = folder + kCheckSumsName;

  ZRFile list;
  ZR_RETURN_FAILURE(openCheckSums(listPath, list));
  CheckQueue checks(folder, resolvedTop, *pool);
  const ZRResult queued = checks.fill(list);
  const ZRResult closed = list.close();
  const ZRResult checked =
      waitForTasks(checks.tasks());  // also after a bad line: nothing reads the tree after this
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
  ZRString resolvedTop;
  ZR_RETURN_FAILURE(resolveTreeTop(bundleFolder, resolvedTop));
  const DeltaTree tree(resolvedTop);
  bundleFolder = withTrailingSlash(bundleFolder);
  for (const char* executable : kBundleExecutables) {
    const ZRString path = bundleFolder + executable;
    ZR_RETURN_FAILURE(tree.requireInside(path));  // chmod follows links
    ZRString quoted;
    ZR_RETURN_FAILURE(quoteArgument(path, quoted));
    ZR_RETURN_FAILURE(runCommand("/bin/chmod a+x " + quoted, kChmodLimitMilliseconds));
  }
  return ZRError::eNoError;
}

ZRResult runCommand(const ZRString& commandLine, std::uint32_t limitMilliseconds) {
  const boost::shared_ptr<zrrt::IProcessManager> manager = ZRProcessManager::instance();
  if (!manager) return ZRError::eNullPointer;
  boost::shared_ptr<zrrt::IProcess> process;
  ZR_RETURN_FAILURE(manager->startCommandLine(process, commandLine));
  if (!process) return ZRError::eNullPointer;

  if (const ZRResult waited = process->wait(limitMilliseconds); waited.isFailure()) {
    killCommand(*process);
    return waited.wrapped("Error returned", ZR_HERE);
  }
  std::uint8_t exitCode = 0;
  ZR_RETURN_FAILURE(process->getExitCode(exitCode));
  if (exitCode != 0) return ZRResult(ZRError::eSomeError, "Process exit code = %d", int{exitCode});
  return ZRError::eNoError;
}

PatchTask::PatchTask(ZRString command, ZRString patchPath)
    : ZRTask("Patch"), _command(std::move(command)), _patchPath(std::move(patchPath)) {}

ZRResult PatchTask::run(ZRDynamicPoolWorkerThread& /*worker*/) {
  ZR_RETURN_FAILURE(runCommand(_command, kPatchLimitMilliseconds));
  zrReport(ZRLogLevel::eDebug, ZRFile::remove(_patchPath), "Error returned", ZR_HERE);
  return ZRError::eNoError;
}

CheckTask::CheckTask(ZRString expectedDigest, ZRString filePath, Where where)
    : ZRTask("CheckMD5"),
      _expectedDigest(std::move(expectedDigest)),
      _filePath(std::move(filePath)),
      _where(where) {}

ZRResult CheckTask::run(ZRDynamicPoolWorkerThread& /*worker*/) {
  if (_where == Where::elsewhere || ZRFile::exists(_filePath).code() != ZRStatus::eYes) {
    return ZRResult(ZRError::eNotFound, "File %s not found", shown(_filePath).c_str())
        .wrapped("Error returned", ZR_HERE);
  }
  ZRString digest;
  ZR_RETURN_FAILURE(fileDigest(_filePath, digest));
  if (digest == _expectedDigest) return ZRError::eNoError;
  zrrt::log(ZRLogLevel::eError, "File %s checksum %s verification failed!", shown(_filePath).c_str(),
            shown(_expectedDigest).c_str());
  return ZRResult(ZRError::eUnexpected).wrapped("Error returned", ZR_HERE);
}
