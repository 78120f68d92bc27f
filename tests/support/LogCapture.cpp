#include "tests/support/LogCapture.h"

#include <algorithm>
#include <atomic>
#include <mutex>

#include <boost/make_shared.hpp>

#include "runtime/Code/ZRLogFormatter.h"

namespace test {

class LogCapture::Target final : public ILogTarget {
 public:
  void writeLine(const char* line) override {
    static constexpr std::string_view kStamp = "2026-11-15 18:17:26.123 PST ";
    const std::string_view text(line);
    const std::scoped_lock lock(mutex);
    lines.emplace_back(text.substr(std::min(kStamp.size(), text.size())));
  }

  std::mutex mutex;
  std::vector<std::string> lines;
};

namespace {

/// A message that equals the last one before it is no repeat.
void endRepeats() {
  static std::atomic<unsigned> number{0};
  zrrt::log(ZRLogLevel::eDebug, "log capture %u begins", number++);
}

}  // namespace

LogCapture::LogCapture() : _target(boost::make_shared<Target>()), _debugBefore(zrrt::isDebugLoggingOn()) {
  zrrt::setDebugLogging(true);
  endRepeats();
  zrrt::setConsoleTarget(_target);
}

LogCapture::~LogCapture() {
  zrrt::setConsoleTarget(nullptr);
  zrrt::setDebugLogging(_debugBefore);
}

std::vector<std::string> LogCapture::lines() const {
  const std::scoped_lock lock(_target->mutex);
  return _target->lines;
}

bool LogCapture::contains(std::string_view levelPrefix, std::string_view text) const {
  const std::vector<std::string> all = lines();
  return std::any_of(all.begin(), all.end(), [&](const std::string& line) {
    return line.compare(0, levelPrefix.size(), levelPrefix) == 0 && line.find(text) != std::string::npos;
  });
}

std::string LogCapture::text() const {
  std::string all;
  for (const std::string& line : lines())
    all += line + "\n";
  return all;
}

void LogCapture::clear() {
  endRepeats();
  const std::scoped_lock lock(_target->mutex);
  _target->lines.clear();
}

}  // namespace test
