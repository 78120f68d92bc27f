#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include <boost/shared_ptr.hpp>

#include "runtime/Code/ZRLog.h"

namespace test {

/// Collects the log lines of this process for the length of its scope, debug messages as well. It takes the
/// place of the console, so the log's own target stays free. One at a time. Any thread may log meanwhile.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  /// The lines so far without their time stamps: "E: <main> text".
  [[nodiscard]] std::vector<std::string> lines() const;
  /// Whether a line of that level ("E: ") holds the text. An empty prefix stands for any level.
  [[nodiscard]] bool contains(std::string_view levelPrefix, std::string_view text) const;
  /// All lines, for the message of a failed expectation.
  [[nodiscard]] std::string text() const;
  void clear();

 private:
  class Target;
  boost::shared_ptr<Target> _target;
  bool _debugBefore;
};

}  // namespace test

/// Whether a line of that level ("E: "; empty: any) holds the text; a failure shows the log.
#define EXPECT_LOGGED(log, level, part) \
  EXPECT_TRUE((log).contains(level, part)) << (level) << (part) << "\nis not in\n" << (log).text()
#define EXPECT_NOT_LOGGED(log, level, part) \
  EXPECT_FALSE((log).contains(level, part)) << (level) << (part) << "\nis in\n" << (log).text()
