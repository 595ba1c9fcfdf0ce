// The millisecond tick count and the limits of the clock behind it, as the multimedia timer
// of the platform gives them.
//
// The count is milliseconds since the system started (CLOCK_MONOTONIC, which Linux counts
// from boot), presented as an unsigned 32-bit value that wraps at 2 to the power 32.
#ifndef BORVANE_PLATFORM_CLOCK_H_
#define BORVANE_PLATFORM_CLOCK_H_

#include <cstdint>

#include "borvane/platform/service.h"

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

// A clock that moves only when told to, for tests. It starts at one hour of uptime.
class FakeClock : public Clock {
 public:
  int64_t MonotonicNs() override { return now_ns_; }
  bool GetDevCaps(TimerCaps& caps) override;

  void AdvanceMs(int64_t ms) { now_ns_ += ms * 1'000'000; }
  void AdvanceNs(int64_t ns) { now_ns_ += ns; }
  // Sets the time so that TickCount() reads `count` (keeping whole wraps already counted).
  void SetTickCount(uint32_t count);
  void SetNs(int64_t ns) { now_ns_ = ns; }
  void SetCaps(uint32_t min_ms, uint32_t max_ms) { caps_ = {min_ms, max_ms}; }
  // Makes GetDevCaps fail.
  void FailCaps(bool fail = true) { fail_caps_ = fail; }

 private:
  int64_t now_ns_ = int64_t{3'600'000} * 1'000'000;
  TimerCaps caps_{1, 1'000'000};
  bool fail_caps_ = false;
};

inline Clock& SystemClock() {
  return Current<Clock>::Get();
}

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_CLOCK_H_
