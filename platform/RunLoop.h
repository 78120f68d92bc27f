#pragma once

#include "platform/Clock.h"

namespace platform {

/// Something that a run loop waits for and then tells its owner about.
class RunLoopSource {
 public:
  virtual ~RunLoopSource() = default;
  /// Waits for events until `deadline` at the latest, and delivers at least one if any came. Called on the
  /// loop's thread only.
  virtual void process(Date deadline) = 0;
};

/// The run loop of a thread. All operations belong to that thread.
class RunLoop {
 public:
  /// The calling thread's loop, made on first use.
  [[nodiscard]] static RunLoop& current();

  /// Runs once: lets its source deliver events, returning after the first or at `deadline`. False, at once,
  /// when there is no source to wait for.
  bool runOnce(Date deadline);

  [[nodiscard]] bool hasSource() const { return _source != nullptr; }
  /// A source is not owned; it removes itself before it is destroyed. It takes the place of one that is
  /// there.
  void addSource(RunLoopSource& source);
  void removeSource(RunLoopSource& source);

 private:
  RunLoop() = default;
  RunLoopSource* _source = nullptr;  // one at a time is all that a blocking download needs
};

}  // namespace platform
