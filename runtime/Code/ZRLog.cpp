#include "runtime/Code/ZRLog.h"

#include <sys/time.h>

#include <array>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <memory>

#include <boost/make_shared.hpp>

#include "platform/Clock.h"
#include "platform/FileManager.h"
#include "platform/Thread.h"
#include "runtime/Code/ZRFormat.h"
#include "runtime/Code/ZRLogCollapser.h"
#include "runtime/Code/ZRLogFormatter.h"
#include "runtime/Code/ZRLogTargets.h"
#include "runtime/Code/ZRLogThread.h"

namespace {

constexpr std::size_t kMaxMessageBytes = 65'534;

using TargetHandle = boost::shared_ptr<ILogTarget>;
using ListenerHandle = boost::shared_ptr<ILogListener>;

/// The slots are replaced while other threads log: each line takes its own handle out of them atomically.
struct LogManager {
  LogManager() { collapser.initialize(); }

  std::string processTag;
  TargetHandle primary;
  TargetHandle secondary;
  std::array<ListenerHandle, 2> listeners;
  ZRLogFormatter formatter;
  ZRLogCollapser collapser;
  boost::shared_ptr<ZRLogFile> file;
};

/// Made on first use and never destroyed: threads and static objects log until the very end of the process.
LogManager& manager() {
  static LogManager& theManager = *std::make_unique<LogManager>().release();
  return theManager;
}

timeval currentTime() {
  const double seconds = platform::now().time_since_epoch().count();
  const auto microseconds = static_cast<std::int64_t>(std::llround(seconds * 1e6));
  const std::int64_t rest = ((microseconds % 1'000'000) + 1'000'000) % 1'000'000;
  timeval time{};
  time.tv_sec = static_cast<time_t>((microseconds - rest) / 1'000'000);
  time.tv_usec = static_cast<suseconds_t>(rest);
  return time;
}

void writeTo(const TargetHandle& slot, const char* line) {
  if (const TargetHandle target = boost::atomic_load(&slot)) target->writeLine(line);
}

void dispatch(const ZRLogEntry& entry) {
  LogManager& log = manager();
  const timeval time = currentTime();
  for (const ListenerHandle& slot : log.listeners) {
    if (const ListenerHandle listener = boost::atomic_load(&slot)) listener->onEntry(entry, time);
  }
  std::string ownLine;
  zrrt::LogThread* thread = zrrt::LogThread::current();
  std::string& line = thread != nullptr ? thread->line : ownLine;
  if (!log.formatter.formatLine(entry, time, line)) return;
  writeTo(log.primary, line.c_str());
  writeTo(log.secondary, line.c_str());
}

void write(std::int32_t level, const char* function, const char* context, const char* format,
           va_list arguments) {
  if (format == nullptr || *format == '\0') return;
  const std::string message = zrrt::formatText(kMaxMessageBytes, format, arguments);
  LogManager& log = manager();
  const ZRLogEntry entry{level,    log.processTag.c_str(), zrrt::currentThreadTag(), context,
                         function, message.c_str()};
  if (log.collapser.collapse(entry, dispatch).code() != ZRError::eNoError) dispatch(entry);
}

ZRResult createFolderOf(const ZRString& path) {
  const std::size_t slash = path.findLast('/');
  if (slash == ZRString::npos || slash == 0) return ZRError::eNoError;
  const platform::Error error = platform::defaultFileManager().createFolder(path.str().substr(0, slash));
  if (!error) return ZRError::eNoError;
  return ZRResult(ZRError::eSomeError, "%s", error.description.c_str());
}

}  // namespace

namespace zrrt {

LogThread* LogThread::current() {
  // The flag needs no destructor, so it can still be read when the rest of the thread's state is gone.
  static thread_local bool isGone = false;
  struct Holder {
    LogThread state;
    ~Holder() { isGone = true; }
  };
  if (isGone) return nullptr;
  static thread_local Holder holder;
  return &holder.state;
}

void logEntry(std::int32_t level, const char* function, const char* context, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  write(level, function, context, format, arguments);
  va_end(arguments);
}

void log(std::int32_t level, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  write(level, nullptr, nullptr, format, arguments);
  va_end(arguments);
}

void nameCurrentThread(const char* name, bool appendThreadNumber) {
  LogThread* thread = LogThread::current();
  if (thread == nullptr || name == nullptr) return;
  thread->name = name;
  if (!appendThreadNumber) return;
  std::array<char, 24> suffix;
  std::snprintf(suffix.data(), suffix.size(), "_%04" PRIX64, platform::currentThreadNumber());
  thread->name += suffix.data();
}

const char* currentThreadTag() {
  LogThread* thread = LogThread::current();
  if (thread == nullptr) return "";
  if (!thread->name.empty()) return thread->name.c_str();
  if (thread->numberTag.empty()) {
    std::array<char, 24> number;
    std::snprintf(number.data(), number.size(), "%zx",
                  static_cast<std::size_t>(platform::currentThreadNumber()));
    thread->numberTag = number.data();
  }
  return thread->numberTag.c_str();
}

ZRResult addLogTarget(const boost::shared_ptr<ILogTarget>& target, int mode) {
  if (!target) return ZRError::eBadParameter;
  LogManager& log = manager();
  TargetHandle none;
  if (!boost::atomic_compare_exchange(&log.primary, &none, target)) return ZRError::eExists;
  if (mode == 1 || mode == 2) {
    if (const ListenerHandle listener = boost::atomic_load(&log.listeners[0]))
      listener->onTargetAdded(target, mode == 2);
  }
  return ZRError::eNoError;
}

void clearLogTarget() {
  boost::atomic_store(&manager().primary, TargetHandle());
}

void setConsoleTarget(const boost::shared_ptr<ILogTarget>& target) {
  boost::atomic_store(&manager().secondary, target);
}

ZRResult setLogListener(int slot, const boost::shared_ptr<ILogListener>& listener) {
  if (slot < 0 || slot > 1) return ZRError::eBadIndex;
  boost::atomic_store(&manager().listeners[static_cast<std::size_t>(slot)], listener);
  return ZRError::eNoError;
}

ZRResult startLog(const ZRString& path, bool truncate) {
  nameCurrentThread("main", false);
  setDebugLogging(true);
  ZR_RETURN_FAILURE(createFolderOf(path));
  const auto file = boost::make_shared<ZRLogFile>();
  ZR_RETURN_FAILURE(file->open(path, truncate));
  ZR_RETURN_FAILURE(addLogTarget(file, 2));
  manager().file = file;
  return ZRError::eNoError;
}

void stopLog() {
  LogManager& log = manager();
  if (!log.file) return;
  log.file->close();
  log.file.reset();
  clearLogTarget();
}

}  // namespace zrrt
