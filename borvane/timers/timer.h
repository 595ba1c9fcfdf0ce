// Timer: a stopwatch in milliseconds over the platform's tick count. It runs from its creation;
// Reset sets it back to zero. It has no events and is not connected with TimerEvent.
#ifndef BORVANE_TIMERS_TIMER_H_
#define BORVANE_TIMERS_TIMER_H_

#include <cstdint>

#include "borvane/automation/binding.h"

namespace borvane {

class Timer : public Dispatchable<Timer> {
 public:
  static constexpr const char* kClassName = "Timer";
  static void Describe(ClassBuilder<Timer>& b);

  // Reads the clock's limits (0 and 0 when they cannot be read), then starts the watch.
  Timer();

  // Milliseconds since creation or the last Reset: the tick count minus the start, both read
  // as signed 32-bit values. Error 6 (Overflow) when the count has passed the sign change
  // (about 24.9 days of uptime) since the start; the watch stays usable.
  int32_t Elapsed() const;
  int32_t MinimumResolution() const { return mlngMinimumResolution; }
  int32_t MaximumResolution() const { return mlngMaximumResolution; }
  void Reset();

 private:
  int32_t mlngStart = 0;
  int32_t mlngMinimumResolution = 0;
  int32_t mlngMaximumResolution = 0;
};

}  // namespace borvane

#endif  // BORVANE_TIMERS_TIMER_H_
