#pragma once

#include <string>

#include "runtime/Code/ZRLog.h"

/// Makes lines of entries.
class ILogFormatter {
 public:
  virtual ~ILogFormatter() = default;
  /// The time stamp of a line: UTC minus eight hours all year, whatever the machine's time zone, labelled
  /// "PST".
  virtual void makeTimeStamp(const timeval& time, std::string& stamp) const = 0;
  /// Appends the level's prefix ("i: "); level -1 has none.
  virtual void appendLevelPrefix(std::int32_t level, std::string& line) const = 0;
  /// The whole line. False when the entry is not to be written: level 4, or a debug message while these are
  /// off.
  [[nodiscard]] virtual bool formatLine(const ZRLogEntry& entry, const timeval& time,
                                        std::string& line) const = 0;
};

class ZRLogFormatter final : public ILogFormatter {
 public:
  void makeTimeStamp(const timeval& time, std::string& stamp) const override;
  void appendLevelPrefix(std::int32_t level, std::string& line) const override;
  [[nodiscard]] bool formatLine(const ZRLogEntry& entry, const timeval& time,
                                std::string& line) const override;
};

namespace zrrt {

/// The switches of a line's parts: time and thread tag are on for good, debug messages from `startLog` on.
struct LogSwitches {
  static constexpr bool kTime = true;
  static constexpr bool kThreadTag = true;
};

[[nodiscard]] bool isDebugLoggingOn();

}  // namespace zrrt
