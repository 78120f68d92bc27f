#include "Code/Common/CheckSums.h"

#include <boost/make_shared.hpp>
#include <utility>

#include "platform/Printable.h"
#include "runtime/Code/ZRLog.h"
#include "runtime/File/ZRFile.h"
#include "runtime/NewCrypto/ZRHash.h"

namespace {

/// A list far longer than that of any build would fill the memory.
constexpr std::uint64_t kMaxListBytes = 16U << 20;
constexpr std::size_t kMaxChecks = 100'000;

/// A name that a package brought, as it may stand in a message.
std::string shown(const ZRString& name) {
  return platform::onOneLine(name.view());
}

ZRResult queueCheck(const ZRString& line, const ZRString& folder, DeltaTree& tree, TaskBatch& checks) {
  if (checks.size() == kMaxChecks) return ZRError::eTooMany;
  const std::size_t blank = line.findLast(' ');
  if (blank == ZRString::npos) return ZRError::eUnexpected;
  const auto pathLength = static_cast<std::int32_t>(blank);
  const ZRString path = folder + line.substr(0, pathLength);
  const auto where = tree.holdsFile(path) ? CheckTask::Where::inTree : CheckTask::Where::elsewhere;
  return checks.add(boost::make_shared<CheckTask>(line.substr(pathLength + 1), path, where));
}

}  // namespace

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
  ZR_RETURN_FAILURE(ZRHash::fileDigestText(_filePath, digest));
  if (digest == _expectedDigest) return ZRError::eNoError;
  zrrt::log(ZRLogLevel::eError, "File %s checksum %s verification failed!", shown(_filePath).c_str(),
            shown(_expectedDigest).c_str());
  return ZRResult(ZRError::eUnexpected).wrapped("Error returned", ZR_HERE);
}

ZRResult openCheckSums(const ZRString& path, ZRFile& list) {
  // Opening something else than a file could wait for ever, or read elsewhere.
  const TreeEntry entry = treeEntry(path);
  if (entry != TreeEntry::file && entry != TreeEntry::nothing) return refusedEntry(path, "is not a file");
  ZR_RETURN_FAILURE(list.open(path, ZRFile::eRead, ZRFile::eOpenExisting));
  std::uint64_t bytes = 0;
  ZR_RETURN_FAILURE(list.getSize(bytes));
  return bytes <= kMaxListBytes ? ZRResult() : ZRResult(ZRError::eTooLong);
}

ZRResult queueChecks(ZRFile& list, const ZRString& folder, DeltaTree& tree, TaskBatch& checks) {
  ZRString line;
  ZRResult result = list.readLine(line);
  for (; result.code() == ZRError::eNoError; result = list.readLine(line))
    ZR_RETURN_FAILURE(queueCheck(line, folder, tree, checks));
  if (result.code() != ZRError::eEnd) ZR_RETURN_FAILURE(result);
  return ZRError::eNoError;
}
