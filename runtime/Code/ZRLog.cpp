#include "runtime/Code/ZRLog.h"

#include <sys/time.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <exception>
#include <memory>
#include <utility>

#include <boost/make_shared.hpp>
#include <boost/thread/mutex.hpp>

#include "platform/Clock.h"
#include "platform/FileManager.h"
#include "platform/Thread.h"
#include "runtime/Code/ZRFormat.h"
#include "runtime/Code/ZRLogCollapser.h"
#include "runtime/Code/ZRLogFormatter.h"
#include "runtime/Code/ZRLogTargets.h"
#include "runtime/Code/ZRLogThread.h"
#include "runtime/Code/ZRPlatformError.h"

namespace {

constexpr std::size_t kMaxMessageBytes = 65'534;

/// Holds an object that is replaced while other threads log: each line takes its own handle out of the slot.
/// An empty slot costs nothing but a look.
template <typename T>
class Slot {
 public:
  using Handle = boost::shared_ptr<T>;

  [[nodiscard]] Handle get() const {
    return _filled.load(std::memory_order_acquire) ? boost::atomic_load(&_handle) : Handle();
  }
  void set(const Handle& handle) {
    const boost::mutex::scoped_lock lock(_changes);
    boost::atomic_store(&_handle, handle);
    _filled.store(handle != nullptr, std::memory_order_release);
  }
  /// False when the slot is taken.
  [[nodiscard]] bool fill(const Handle& handle) {
    const boost::mutex::scoped_lock lock(_changes);
    if (_filled.load(std::memory_order_relaxed)) return false;
    boost::atomic_store(&_handle, handle);
    _filled.store(true, std::memory_order_release);
    return true;
  }

 private:
  boost::mutex _changes;
  Handle _handle;
  std::atomic<bool> _filled{false};
};

struct LogManager {
  LogManager() { collapser.initialize(); }

  std::string processTag;
  Slot<ILogTarget> primary;
  Slot<ILogTarget> secondary;
  std::atomic<bool> writesToSecondary{true};
  std::array<Slot<ILogListener>, 2> listeners;
  ZRLogFormatter formatter;
  ZRLogCollapser collapser;
  boost::shared_ptr<ZRLogFile> file;  ///< of `startLog`, which one thread calls
  ZRString path;
};

/// Made on first use and never destroyed: threads and static objects log until the very end of the process.
LogManager& manager() {
  static LogManager& theManager = *std::make_unique<LogManager>().release();
  return theManager;
}

timeval currentTime() {
  const auto now = std::chrono::floor<std::chrono::microseconds>(platform::now());
  const auto second = std::chrono::floor<std::chrono::seconds>(now);  // also before 1970
  return {static_cast<time_t>(second.time_since_epoch().count()),
          static_cast<suseconds_t>((now - second).count())};
}

void writeTo(const Slot<ILogTarget>& slot, const char* line) {
  if (const auto target = slot.get()) target->writeLine(line);
}

using Busy = zrrt::LogThread::Busy;

/// Notes for a scope what the calling thread is in the middle of.
class BusyScope {
 public:
  BusyScope(zrrt::LogThread* thread, Busy busy) : _thread(thread) {
    if (_thread != nullptr) _before = std::exchange(_thread->busy, busy);
  }
  ~BusyScope() {
    if (_thread != nullptr) _thread->busy = _before;
  }
  BusyScope(const BusyScope&) = delete;
  BusyScope& operator=(const BusyScope&) = delete;

 private:
  zrrt::LogThread* _thread;
  Busy _before = Busy::no;
};

void writeToTargets(const ZRLogEntry& entry, const timeval& time, zrrt::LogThread* thread,
                    std::string& line) {
  LogManager& log = manager();
  if (!log.formatter.formatLine(entry, time, line)) return;
  const BusyScope busy(thread, Busy::writing);
  writeTo(log.primary, line.c_str());
  if (log.writesToSecondary.load(std::memory_order_relaxed)) writeTo(log.secondary, line.c_str());
}

void tellListeners(const ZRLogEntry& entry, const timeval& time, zrrt::LogThread* thread) {
  for (const Slot<ILogListener>& slot : manager().listeners) {
    const BusyScope busy(thread, Busy::listening);
    if (const auto listener = slot.get()) listener->onEntry(entry, time);
  }
}

void dispatch(const ZRLogEntry& entry) {
  const timeval time = currentTime();
  std::string ownLine;
  zrrt::LogThread* thread = zrrt::LogThread::current();
  tellListeners(entry, time, thread);
  writeToTargets(entry, time, thread, thread != nullptr ? thread->line : ownLine);
}

/// Past the collapser and the thread's line, which are in use.
void dispatchFromListener(const ZRLogEntry& entry, zrrt::LogThread& thread) {
  std::string line;
  writeToTargets(entry, currentTime(), &thread, line);
}

void writeMessage(std::int32_t level, const char* function, const char* context, const char* format,
                  va_list arguments) {
  zrrt::LogThread* thread = zrrt::LogThread::current();
  const Busy busy = thread != nullptr ? thread->busy : Busy::no;
  if (busy == Busy::writing) return;
  const zrrt::FormattedText message(kMaxMessageBytes, format, arguments);
  LogManager& log = manager();
  const ZRLogEntry entry{level,    log.processTag.c_str(), zrrt::currentThreadTag(), context,
                         function, message.c_str()};
  if (busy == Busy::listening) return dispatchFromListener(entry, *thread);
  if (log.collapser.collapse(entry, dispatch).code() != ZRError::eNoError) dispatch(entry);
}

void write(std::int32_t level, const char* function, const char* context, const char* format,
           va_list arguments) {
  if (format == nullptr || *format == '\0') return;
  const platform::CancellationHold hold;  // a cancelled thread loses its own life, not the log's locks
  try {
    writeMessage(level, function, context, format, arguments);
  } catch (const std::exception&) {  // NOLINT: the line is lost; who logs has no use for a failure
  }
}

ZRResult createFolderOf(const ZRString& path) {
  const std::size_t slash = path.findLast('/');
  if (slash == ZRString::npos || slash == 0) return ZRError::eNoError;
  return zrrt::resultOf(platform::defaultFileManager().createFolder(path.str().substr(0, slash)),
                        "createFolder");
}

ZRResult openLogFile(const ZRString& path, bool truncate) {
  LogManager& log = manager();
  log.path = path;
  ZR_RETURN_FAILURE(createFolderOf(path));
  const auto file = boost::make_shared<ZRLogFile>();
  ZR_RETURN_FAILURE(file->open(path, truncate));
  ZR_RETURN_FAILURE(zrrt::addLogTarget(file, 2));
  log.file = file;
  return ZRError::eNoError;
}

/// Needs no destructor, so that it serves until the thread's very end.
const char* threadNumberTag() {
  static thread_local std::array<char, 24> tag{};
  if (tag[0] == '\0') {
    std::snprintf(tag.data(), tag.size(), "%zx", static_cast<std::size_t>(platform::currentThreadNumber()));
  }
  return tag.data();
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
  const LogThread* thread = LogThread::current();
  return thread != nullptr && !thread->name.empty() ? thread->name.c_str() : threadNumberTag();
}

ZRResult addLogTarget(const boost::shared_ptr<ILogTarget>& target, int mode) {
  if (!target) return ZRError::eBadParameter;
  LogManager& log = manager();
  if (!log.primary.fill(target)) return ZRError::eExists;
  if (mode == 1 || mode == 2) {
    if (const auto listener = log.listeners[0].get()) listener->onTargetAdded(target, mode == 2);
  }
  return ZRError::eNoError;
}

void clearLogTarget() {
  manager().primary.set(nullptr);
}

void setConsoleTarget(const boost::shared_ptr<ILogTarget>& target) {
  manager().secondary.set(target);
}

ZRResult setLogListener(int slot, const boost::shared_ptr<ILogListener>& listener) {
  if (slot < 0 || slot > 1) return ZRError::eBadIndex;
  manager().listeners[static_cast<std::size_t>(slot)].set(listener);
  return ZRError::eNoError;
}

void switchConsole(bool on) {
  manager().writesToSecondary.store(on, std::memory_order_relaxed);
}

ZRResult startLog(const ZRString& path, bool truncate) {
  ZRResult opened = openLogFile(path, truncate);
  setDebugLogging(true);
  nameCurrentThread("main", false);
  return opened;
}

ZRString logPath() {
  return manager().path;
}

void stopLog() noexcept {
  LogManager& log = manager();
  if (!log.file) return;
  log.file->close();
  log.file.reset();
  clearLogTarget();
}

}  // namespace zrrt
