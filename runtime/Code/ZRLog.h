#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdarg>
#include <cstdint>

#include "runtime/Code/ZRResult.h"

/// Levels of log entries. Level 4 is not written at all.
struct ZRLogLevel {
  enum Level : std::int32_t {
    eNone = -1,
    eDebug = 0,
    eInformation = 1,
    eWarning = 2,
    eError = 3,
    eStatus = 5,
    eCritical = 6,
  };
};

/// One entry: its level and its five texts. The texts belong to the caller.
struct ZRLogEntry {
  std::int32_t level;
  const char* processTag;
  const char* threadTag;
  const char* context;
  const char* function;
  const char* message;
};

/// Where finished lines go. Any thread; a target that fails loses the line, and what it logs itself is lost.
class ILogTarget {
 public:
  virtual ~ILogTarget() = default;
  virtual void writeLine(const char* line) = 0;
};

struct timeval;

/// Receives every entry before it is formatted. Any thread. What it logs itself goes to the targets at once,
/// and to no listener.
class ILogListener {
 public:
  virtual ~ILogListener() = default;
  virtual void onEntry(const ZRLogEntry& entry, const timeval& time) = 0;
  /// A target was added in a mode that hands it to the listener; `primary` is set for mode 2.
  virtual void onTargetAdded(const boost::shared_ptr<ILogTarget>& target, bool primary) = 0;
};

/// The process-wide log. Writing never fails towards the caller.
namespace zrrt {

/// Writes an entry: level, function name and context (each may be null), and a printf-style message, cut at
/// 65,534 bytes. A null or empty format writes nothing. Any thread.
[[gnu::format(printf, 4, 5)]] void logEntry(std::int32_t level, const char* function, const char* context,
                                            const char* format, ...);

/// An entry without function name and context.
[[gnu::format(printf, 2, 3)]] void log(std::int32_t level, const char* format, ...);

/// Names the calling thread in the log; with `appendThreadNumber` as "name_1A2B".
void nameCurrentThread(const char* name, bool appendThreadNumber);
/// The calling thread's name, or its number in lower-case hexadecimal.
[[nodiscard]] const char* currentThreadTag();

/// Puts the target into the primary slot. Mode 1 or 2 also hands it to the first listener.
/// Fails: eBadParameter for a null target; eExists when the slot is taken.
ZRResult addLogTarget(const boost::shared_ptr<ILogTarget>& target, int mode);
void clearLogTarget();

/// Starts the log in a file: creates its folder if needed, opens it (appending unless `truncate`), makes it
/// the target, switches debug messages on, and names the calling thread "main"; the last two also when it
/// fails. Fails: eExists while a target is set; with the system's error when the folder or the file cannot be
/// made.
ZRResult startLog(const ZRString& path, bool truncate);
/// The path that `startLog` was last given.
[[nodiscard]] ZRString logPath();
/// Writes what is pending, closes the file and empties the target slot. Without a started log it does
/// nothing.
void stopLog() noexcept;
/// Whether level 0 is written.
void setDebugLogging(bool on);

// What no run calls.

/// Lines go here as well; null ends that.
void setConsoleTarget(const boost::shared_ptr<ILogTarget>& target);
/// Whether the console target gets lines; on from the start.
void switchConsole(bool on);
/// Slot 0 or 1; null empties it.
ZRResult setLogListener(int slot, const boost::shared_ptr<ILogListener>& listener);

}  // namespace zrrt
