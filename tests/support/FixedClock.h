#pragma once

#include "platform/Clock.h"

namespace test {

/// 2026-11-15 18:17:26 UTC, and later as the test says.
class FixedClock : public platform::Clock {
 public:
  FixedClock() { platform::setClock(this); }
  ~FixedClock() override { platform::setClock(nullptr); }
  [[nodiscard]] platform::Date now() const override { return _now; }
  void advance(double seconds) { _now += platform::Seconds(seconds); }

 private:
  platform::Date _now{platform::Seconds(1'794'766'646)};
};

}  // namespace test
