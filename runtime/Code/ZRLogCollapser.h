#pragma once

#include "runtime/Code/ZRLogData.h"

/// Suppresses repeats of an entry in one thread.
class ILogCollapser {
 public:
  using Sink = void (*)(const ZRLogEntry& entry);

  virtual ~ILogCollapser() = default;
  /// Hands `sink` what is to be written now: nothing for a repeat; else the summary of the repeats before, if
  /// any, and the entry. A failure means that nothing was handed on: eNotInitialized, eBadStatus (switched
  /// off), eNoMemory.
  virtual ZRResult collapse(const ZRLogEntry& entry, Sink sink) = 0;
};

/// What the collapser remembers of a thread: its last entry and how often that came.
struct ZRLogCollapserData {
  unsigned count = 0;
  ZRLogBuffer last;
};

class ZRLogCollapser final : public ILogCollapser {
 public:
  void initialize() { _initialized = true; }
  void switchOff() { _on = false; }
  ZRResult collapse(const ZRLogEntry& entry, Sink sink) override;

 private:
  bool _initialized = false;
  bool _on = true;
};
