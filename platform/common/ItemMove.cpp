#include "platform/common/ItemMove.h"

#include <cerrno>

#include "platform/common/FreeNames.h"
#include "platform/common/TemporaryWriteAccess.h"

namespace platform {

Error moveError(int number, const std::string& from, const std::string& to) {
  return posixError(number, from + " -> " + to);
}

Error moveOnVolume(const std::string& from, const std::string& to) {
  if (renameToFreeName(from, to)) return {};
  const int number = errno;
  if (number != EACCES) return moveError(number, from, to);
  TemporaryWriteAccess access(from);
  if (!access.isGranted() || !renameToFreeName(from, to)) return moveError(number, from, to);
  access.itemMovedTo(to);
  return {};
}

}  // namespace platform
