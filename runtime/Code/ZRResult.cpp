#include "runtime/Code/ZRResult.h"

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <system_error>

#include "runtime/Code/ZRFormat.h"
#include "runtime/Code/ZRLog.h"
#include "runtime/Code/ZRRequireException.h"

namespace {

constexpr std::size_t kMaxMessageBytes = 65'535;
constexpr std::size_t kMaxAppendBytes = 65'534;
constexpr std::size_t kMaxAssertionDetail = 510;

std::uint32_t codeForSystemError(int number) {
  switch (number) {
    case 0:
      return ZRError::eNoError;
    case EPERM:
    case EACCES:
    case EROFS:
      return ZRError::eNoAccess;
    case ENOENT:
    case ESRCH:
    case ENXIO:
      return ZRError::eNotFound;
    case EIO:
      return ZRError::eIOError;
    case EBADF:
      return ZRError::eBadHandle;
    case ENOMEM:
      return ZRError::eNoMemory;
    case EBUSY:
      return ZRError::eBusy;
    case EEXIST:
      return ZRError::eExists;
    case EINVAL:
      return ZRError::eBadParameter;
    case ENFILE:
    case EMFILE:
    case EMLINK:
      return ZRError::eTooMany;
    case ENOSPC:
      return ZRError::eDiskFull;
    case ERANGE:
      return ZRError::eBadIndex;
    case ENAMETOOLONG:
      return ZRError::eTooLong;
    case EILSEQ:
      return ZRError::eBadSequence;
    default:
      return ZRError::eSomeError;
  }
}

const char* levelWord(std::int32_t level) {
  static constexpr std::array<const char*, 4> kWords = {"Debug message", "Information", "Warning", "Error"};
  return level >= 0 && level < static_cast<std::int32_t>(kWords.size())
             ? kWords[static_cast<std::size_t>(level)]
             : "";
}

}  // namespace

ZRString ZRLocation::text() const {
  const char* slash = std::strrchr(file, '/');
  ZRString base(slash != nullptr ? slash + 1 : file);
  base.toLower();
  return ZRString::format(kMaxMessageBytes, "%s, %s:%d", function != nullptr ? function : "", base.c_str(),
                          line);
}

ZRResult::ZRResult(std::uint32_t code, const char* format, ...) : _code(code) {
  va_list arguments;
  va_start(arguments, format);
  _message = ZRString(zrrt::formatText(kMaxMessageBytes, format, arguments));
  va_end(arguments);
}

void ZRResult::append(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const std::string text = zrrt::formatText(kMaxAppendBytes, format, arguments);
  va_end(arguments);
  if (hasMessage()) _message += "\n\t";
  _message += ZRString(text);
}

ZRString ZRResult::codeText() const {
  return ZRString::format(kMaxMessageBytes, "(%d) \"%s\"", _code, codeName(_code));
}

ZRResult ZRResult::fromSystemError(const char* method, int errorNumber) {
  ZRResult result(codeForSystemError(errorNumber));
  result._message = ZRString(std::generic_category().message(errorNumber));
  result._message += ZRString::format(kMaxMessageBytes, "Method \"%s\" returned CRT error [%d]. ",
                                      method != nullptr ? method : "", errorNumber);
  return result;
}

ZRResult ZRResult::wrapped(const char* text, const ZRLocation& location) const {
  ZRResult result = *this;
  result.append("%s at %s", text, location.text().c_str());
  return result;
}

ZRResult ZRResult::parameterCheckFailed(const char* expression, const ZRLocation& location) {
  return ZRResult(ZRError::eBadParameter, "Parameter check \"%s\" failed at %s.", expression,
                  location.text().c_str());
}

void zrReport(std::int32_t level, const ZRResult& result, const char* text, const ZRLocation& location) {
  if (result.isSuccess()) return;
  const ZRString separated = result.hasMessage() ? "\n\t" + result.message() : ZRString();
  zrrt::log(level == ZRLogLevel::eNone ? result.level() : level, "%s at %s\n\t%s%s", text,
            location.text().c_str(), result.codeText().c_str(), separated.c_str());
}

void zrReportLevel(std::int32_t level, const ZRResult& result, const ZRLocation& location) {
  const std::int32_t used = level == ZRLogLevel::eNone ? result.level() : level;
  zrReport(used, result, levelWord(used), location);
}

void zrAssertionFailed(const ZRLocation& location) {
  zrrt::log(ZRLogLevel::eCritical, "Assertion failure at %s", location.text().c_str());
}

void zrAssertionFailed(const ZRLocation& location, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const std::string detail = zrrt::formatText(kMaxAssertionDetail, format, arguments);
  va_end(arguments);
  zrrt::log(ZRLogLevel::eCritical, "Assertion failure at %s. %s", location.text().c_str(), detail.c_str());
}

ZRRequireException::ZRRequireException(const char* expression, const ZRLocation& location)
    : std::logic_error("Requirement \"" + std::string(expression) + "\" violated at " +
                       location.text().str()) {}

void zrUnhandledException() noexcept {
  const char* text = "unknown";
  std::exception_ptr current = std::current_exception();
  try {
    if (current) std::rethrow_exception(current);
  } catch (const std::exception& exception) {
    text = exception.what();
  } catch (...) {  // NOLINT: it has no text, so "unknown" stays
  }
  std::fflush(nullptr);
  std::fprintf(stderr, "exception:%s\n", text);
  std::abort();
}
