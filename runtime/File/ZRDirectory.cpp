#include "runtime/File/ZRDirectory.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "runtime/Code/ZRLog.h"
#include "runtime/File/ZRFileFind.h"

namespace {

// The whole listing before anything is removed: what a folder lists while it changes is anybody's guess, and
// a deep tree would hold one open folder a level.
std::vector<ZRString> listFolder(const ZRString& folder) {
  std::vector<ZRString> names;
  ZRFileFind find;
  ZRString name;
  ZRResult outcome = find.getFirst(folder, "*", name);
  for (; outcome.isSuccess(); outcome = find.getNext(name)) {
    if (!(name == ".") && !(name == "..")) names.push_back(name);
  }
  if (const int number = find.systemError(); number != 0) {
    zrrt::log(ZRLogLevel::eError, "ZRFileFind::getNext() error %d (%s)", number, std::strerror(number));
  }
  return names;
}

void removeLink(const ZRString& path) {
  if (::unlink(path.c_str()) == 0) return;
  const int number = errno;
  zrrt::log(ZRLogLevel::eError, "Unable to delete symlink %s, error %d (%s)", path.c_str(), number,
            std::strerror(number));
}

void removeFile(const ZRString& path) {
  if (::unlink(path.c_str()) == 0) return;
  const int number = errno;
  zrrt::log(ZRLogLevel::eError, "Unable to delete file %s, error %d (%s)", path.c_str(), number,
            std::strerror(number));
}

void removeEntry(const ZRString& path) {
  struct stat status;
  if (::lstat(path.c_str(), &status) != 0) {
    const int number = errno;
    zrrt::log(ZRLogLevel::eError, "Unable to get attributes for %s, error %d (%s)", path.c_str(), number,
              std::strerror(number));
    return;
  }
  if (S_ISLNK(status.st_mode)) return removeLink(path);
  if (!S_ISDIR(status.st_mode)) return removeFile(path);
  // What it could not remove it has logged; the folder above then fails too, as it is not empty.
  static_cast<void>(ZRDirectory::remove(path));
}

ZRString withoutTrailingSlashes(const ZRString& path) {
  std::string text = path.str();
  while (text.size() > 1 && text.back() == '/')
    text.pop_back();
  return ZRString(std::move(text));
}

bool isFolderItself(const ZRString& path) {
  struct stat status;
  return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

ZRResult ZRDirectory::create(const ZRString& path) {
  if (path.isEmpty()) return ZRError::ePreconditionFailed;
  if (::mkdir(path.c_str(), 0777) == 0) return ZRError::eNoError;
  ZRResult failure = ZRResult::fromSystemError("mkdir()", errno).wrapped("Error occurred", ZR_HERE);
  failure.append("Failed to create directory \"%s\"", path.c_str());
  return failure;
}

ZRResult ZRDirectory::remove(const ZRString& path) {
  if (path.isEmpty()) return ZRError::ePreconditionFailed;
  const ZRString folder = withoutTrailingSlashes(path);
  // A link to a folder is refused by rmdir below; what it leads to is not touched.
  if (isFolderItself(folder)) {
    for (const ZRString& name : listFolder(folder))
      removeEntry(folder + "/" + name);
  }
  if (::rmdir(folder.c_str()) == 0) return ZRError::eNoError;
  const int number = errno;
  zrrt::log(ZRLogLevel::eError, "ZRDirectory::remove(%s) error %d (%s)", path.c_str(), number,
            std::strerror(number));
  return ZRResult::fromSystemError("rmdir()", number);
}

ZRResult ZRDirectory::exists(const ZRString& path) {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) ? ZRStatus::eYes : ZRStatus::eNo;
}

ZRResult ZRDirectory::getCurrent(ZRString& path) {
  std::string buffer(256, '\0');
  while (::getcwd(buffer.data(), buffer.size()) == nullptr) {
    if (errno != ERANGE) return ZRResult::fromSystemError("getcwd()", errno);
    buffer.resize(2 * buffer.size());
  }
  path = ZRString(buffer.c_str());
  return ZRError::eNoError;
}
