// The millisecond tick count and the limits of the clock behind it, as the multimedia timer
// of the platform gives them.
//
// The count is milliseconds since the system started (CLOCK_MONOTONIC, which Linux counts
// from boot), presented as an unsigned 32-bit value that wraps at 2 to the power 32.
#ifndef BORVANE_PLATFORM_SESSION_CLOCK_H_
#define BORVANE_PLATFORM_SESSION_CLOCK_H_

#include <cstdint>

#include "borvane/platform/base/service.h"

namespace borvane::platform {

// The smallest and largest period in milliseconds (the two fields of TIMECAPS).
struct TimerCaps {
  uint32_t wPeriodMin = 0;
  uint32_t wPeriodMax = 0;
};

class Clock {
 public:
  virtual ~Clock() = default;
  // Monotonic nanoseconds since the system started; never goes back.
  virtual int64_t MonotonicNs() = 0;
  // Fills `caps` with the clock's limits; false (and `caps` untouched) when they are unknown.
  virtual bool GetDevCaps(TimerCaps& caps) = 0;

  // Milliseconds since the system started, wrapping at 2 to the power 32 (timeGetTime).
  uint32_t TickCount() { return static_cast<uint32_t>(MonotonicNs() / 1'000'000); }

  static Clock& Real();
};

inline Clock& SystemClock() {
  return Current<Clock>::Get();
}

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_SESSION_CLOCK_H_
