#include "runtime/Code/ZRLogCollapser.h"

#include <string>

#include "runtime/Code/ZRLogThread.h"

namespace {

void flushRepeats(const ZRLogCollapserData& repeats, ILogCollapser::Sink sink) {
  if (repeats.count < 2) return;
  ZRLogEntry entry = repeats.last.entry();
  if (repeats.count == 2) {
    sink(entry);
    return;
  }
  const std::string summary = "The last log message in this thread was repeated " +
                              std::to_string(repeats.count - 1) + " time(s)\n\t\"" + entry.message + "\"";
  entry.message = summary.c_str();
  sink(entry);
}

}  // namespace

ZRResult ZRLogCollapser::collapse(const ZRLogEntry& entry, Sink sink) {
  if (!_initialized) return ZRError::eNotInitialized;
  if (!_on) return ZRError::eBadStatus;
  zrrt::LogThread* thread = zrrt::LogThread::current();
  if (thread == nullptr) return ZRError::eNoMemory;

  ZRLogCollapserData& repeats = thread->repeats;
  if (repeats.count > 0 && repeats.last.equals(entry)) {
    ++repeats.count;
    return ZRError::eNoError;
  }
  flushRepeats(repeats, sink);
  repeats.last.store(entry);
  repeats.count = 1;
  sink(entry);
  return ZRError::eNoError;
}
