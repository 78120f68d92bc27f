#include "runtime/Applications/ZRTaskWait.h"

#include <chrono>
#include <cstdio>

#include "runtime/Code/ZRLog.h"

namespace {

constexpr std::int32_t kLookMicroseconds = 100000;
constexpr std::chrono::milliseconds kLook(kLookMicroseconds / 1000);
constexpr std::int32_t kMicrosecondsPerSecond = 1000000;
constexpr std::int32_t kDefaultSeconds = 10;
constexpr const char* kMethod = "-[NSTask(VNTDeployment) waitUntilExitWithTimeout:]";

void terminateQuietly(platform::Task& task) {
  try {
    task.terminate();
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "%s - [self terminate] threw exception: %s\n", kMethod, exception.what());
  }
}

}  // namespace

void waitUntilExitWithTimeout(platform::Task& task, std::int32_t seconds) {
  // 32 bits, as the limit is counted: a wait of more than 35 minutes is none at all.
  auto remaining = static_cast<std::int32_t>(static_cast<std::int64_t>(seconds) * kMicrosecondsPerSecond);
  bool isRunning = task.isRunning();
  while (remaining >= 0 && isRunning) {
    isRunning = !task.waitForExit(kLook);
    remaining -= kLookMicroseconds;
  }
  if (remaining > 0) return;
  zrrt::logEntry(ZRLogLevel::eError, kMethod, nullptr, "command timed out");
  terminateQuietly(task);
  throw ZRTaskTimeout();
}

void waitUntilExitWithTimeout(platform::Task& task) {
  waitUntilExitWithTimeout(task, kDefaultSeconds);
}
