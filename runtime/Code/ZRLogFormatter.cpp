#include "runtime/Code/ZRLogFormatter.h"

#include <sys/time.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string_view>

namespace {

constexpr std::int32_t kRefusedLevel = 4;
constexpr time_t kStampOffsetSeconds = 8 * 3600;

std::atomic<bool> debugSwitch{false};

/// The stamp of the thread's last line. Within a second only the milliseconds change: formatting the rest
/// costs more than all else of a line. Trivial, so that it outlives everything else of its thread.
struct LastStamp {
  time_t second;
  std::size_t millisecondsAt;  ///< where their digits stand; 0: there is no stamp yet
  std::size_t length;
  std::array<char, 64> text;
};

void formatSecond(time_t second, LastStamp& stamp) {
  const time_t shifted = second - kStampOffsetSeconds;
  tm fields{};
  gmtime_r(&shifted, &fields);
  const int length =
      std::snprintf(stamp.text.data(), stamp.text.size(), "%04u-%02u-%02u %02u:%02u:%02u.000 PST",
                    static_cast<unsigned>(fields.tm_year + 1900), static_cast<unsigned>(fields.tm_mon + 1),
                    static_cast<unsigned>(fields.tm_mday), static_cast<unsigned>(fields.tm_hour),
                    static_cast<unsigned>(fields.tm_min), static_cast<unsigned>(fields.tm_sec));
  stamp.second = second;
  stamp.length = static_cast<std::size_t>(length);
  stamp.millisecondsAt = stamp.length - std::strlen("000 PST");
}

std::string_view stampOf(const timeval& time) {
  static thread_local LastStamp last{};
  if (last.millisecondsAt == 0 || last.second != time.tv_sec) formatSecond(time.tv_sec, last);
  const auto milliseconds = static_cast<unsigned>(time.tv_usec / 1000);
  char* digits = &last.text[last.millisecondsAt];
  digits[0] = static_cast<char>('0' + milliseconds / 100);
  digits[1] = static_cast<char>('0' + milliseconds / 10 % 10);
  digits[2] = static_cast<char>('0' + milliseconds % 10);
  return {last.text.data(), last.length};
}

/// The parts of a line, gathered before any is copied.
class LineParts {
 public:
  void add(std::string_view part) {
    if (part.empty()) return;
    _parts[_count++] = {part.data(), part.size()};
    _length += part.size();
  }
  /// Nothing at all for an absent or empty text.
  void addTagged(std::string_view before, const char* text, std::string_view after) {
    if (text == nullptr || *text == '\0') return;
    add(before);
    add(text);
    add(after);
  }
  void join(std::string& line) const {
    line.resize(_length);
    char* next = line.data();
    for (std::size_t i = 0; i < _count; ++i) {
      std::memcpy(next, _parts[i].text, _parts[i].length);
      next += _parts[i].length;
    }
  }

 private:
  struct Part {  // no text to begin with: most of the room is never used
    const char* text;
    std::size_t length;
  };

  std::array<Part, 16> _parts;
  std::size_t _count = 0;
  std::size_t _length = 0;
};

std::string_view levelPrefix(std::int32_t level) {
  static constexpr std::array<std::string_view, 7> kPrefixes = {"d: ", "i: ", "W: ", "E: ", "", "s: ", "C: "};
  const bool hasPrefix = level >= 0 && level < static_cast<std::int32_t>(kPrefixes.size());
  return hasPrefix ? kPrefixes[static_cast<std::size_t>(level)] : std::string_view();
}

}  // namespace

void ZRLogFormatter::makeTimeStamp(const timeval& time, std::string& stamp) const {
  stamp = stampOf(time);
}

void ZRLogFormatter::appendLevelPrefix(std::int32_t level, std::string& line) const {
  line += levelPrefix(level);
}

bool ZRLogFormatter::formatLine(const ZRLogEntry& entry, const timeval& time, std::string& line) const {
  if (entry.level == kRefusedLevel) return false;
  if (entry.level == ZRLogLevel::eDebug && !zrrt::isDebugLoggingOn()) return false;
  LineParts parts;
  if constexpr (zrrt::LogSwitches::kTime) {
    parts.add(stampOf(time));
    parts.add(" ");
  }
  parts.add(levelPrefix(entry.level));
  parts.addTagged("[", entry.processTag, "] ");
  if constexpr (zrrt::LogSwitches::kThreadTag) parts.addTagged("<", entry.threadTag, "> ");
  parts.addTagged("{", entry.context, "} ");
  parts.addTagged("", entry.function, " - ");
  parts.addTagged("", entry.message, "");
  parts.join(line);
  return !line.empty();
}

namespace zrrt {

void setDebugLogging(bool on) {
  debugSwitch.store(on, std::memory_order_relaxed);
}

bool isDebugLoggingOn() {
  return debugSwitch.load(std::memory_order_relaxed);
}

}  // namespace zrrt
