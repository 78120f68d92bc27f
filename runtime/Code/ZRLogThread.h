#pragma once

#include <string>

#include "runtime/Code/ZRLogCollapser.h"

namespace zrrt {

/// What the log keeps per thread.
struct LogThread {
  std::string name;  ///< empty: the thread has none
  std::string line;  ///< the line being made; kept for its memory
  ZRLogCollapserData repeats;
  /// What the thread is in the middle of: what a listener logs goes to the targets alone, what a target logs
  /// goes nowhere.
  enum class Busy { no, listening, writing } busy = Busy::no;

  /// The calling thread's; null when the thread is ending and has none any more.
  [[nodiscard]] static LogThread* current();
};

}  // namespace zrrt
