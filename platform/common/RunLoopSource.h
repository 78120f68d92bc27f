#pragma once

#include "platform/Clock.h"

namespace platform {

/// Something that the run loop of a thread waits for, for backends whose system has no run loop of its own. A
/// thread's loop has one source at a time, which is all that a blocking download needs. A source is destroyed
/// on the thread whose loop it joined. RunLoop.cpp has the other half.
class RunLoopSource {
 public:
  RunLoopSource() = default;
  RunLoopSource(const RunLoopSource&) = delete;
  RunLoopSource& operator=(const RunLoopSource&) = delete;
  virtual ~RunLoopSource() { leaveRunLoop(); }

  /// Whether the calling thread's loop has a source.
  [[nodiscard]] static bool isThere();

  /// Waits for events until `deadline` at the latest, and delivers at least one if any came. Called on the
  /// loop's thread only.
  virtual void process(Date deadline) = 0;

 protected:
  /// Becomes the source of the calling thread's loop, in the place of one that is there.
  void joinRunLoop();
  /// To be called on that thread.
  void leaveRunLoop();
};

}  // namespace platform
