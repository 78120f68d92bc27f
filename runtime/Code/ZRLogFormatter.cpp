#include "runtime/Code/ZRLogFormatter.h"

#include <sys/time.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <ctime>

namespace {

constexpr std::int32_t kRefusedLevel = 4;
constexpr time_t kStampOffsetSeconds = 8 * 3600;

std::atomic<bool> debugSwitch{false};

/// The part of the stamp that is the same for a whole second, kept per thread: formatting it costs more than
/// the rest of a line. Trivial, so that it outlives everything else of its thread.
struct SecondStamp {
  time_t second;
  bool valid;
  std::array<char, 64> text;
};

const char* stampOfSecond(time_t second) {
  static thread_local SecondStamp cached{};
  if (!cached.valid || cached.second != second) {
    const time_t shifted = second - kStampOffsetSeconds;
    tm fields{};
    gmtime_r(&shifted, &fields);
    std::snprintf(cached.text.data(), cached.text.size(), "%04u-%02u-%02u %02u:%02u:%02u",
                  static_cast<unsigned>(fields.tm_year + 1900), static_cast<unsigned>(fields.tm_mon + 1),
                  static_cast<unsigned>(fields.tm_mday), static_cast<unsigned>(fields.tm_hour),
                  static_cast<unsigned>(fields.tm_min), static_cast<unsigned>(fields.tm_sec));
    cached.second = second;
    cached.valid = true;
  }
  return cached.text.data();
}

bool isPresent(const char* text) {
  return text != nullptr && *text != '\0';
}

void appendTagged(const char* before, const char* text, const char* after, std::string& line) {
  if (isPresent(text)) line.append(before).append(text).append(after);
}

}  // namespace

void ZRLogFormatter::makeTimeStamp(const timeval& time, std::string& stamp) const {
  const auto milliseconds = static_cast<unsigned>(time.tv_usec / 1000);
  stamp = stampOfSecond(time.tv_sec);
  stamp += '.';
  stamp += static_cast<char>('0' + milliseconds / 100);
  stamp += static_cast<char>('0' + milliseconds / 10 % 10);
  stamp += static_cast<char>('0' + milliseconds % 10);
  stamp += " PST";
}

void ZRLogFormatter::appendLevelPrefix(std::int32_t level, std::string& line) const {
  static constexpr std::array<const char*, 7> kPrefixes = {"d: ", "i: ", "W: ", "E: ", "", "s: ", "C: "};
  if (level >= 0 && level < static_cast<std::int32_t>(kPrefixes.size())) {
    line += kPrefixes[static_cast<std::size_t>(level)];
  }
}

bool ZRLogFormatter::formatLine(const ZRLogEntry& entry, const timeval& time, std::string& line) const {
  if (entry.level == kRefusedLevel) return false;
  if (entry.level == ZRLogLevel::eDebug && !zrrt::isDebugLoggingOn()) return false;
  line.clear();
  if constexpr (zrrt::LogSwitches::kTime) {
    makeTimeStamp(time, line);
    line += ' ';
  }
  appendLevelPrefix(entry.level, line);
  appendTagged("[", entry.processTag, "] ", line);
  if constexpr (zrrt::LogSwitches::kThreadTag) appendTagged("<", entry.threadTag, "> ", line);
  appendTagged("{", entry.context, "} ", line);
  appendTagged("", entry.function, " - ", line);
  appendTagged("", entry.message, "", line);
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
