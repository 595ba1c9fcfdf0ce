#include "borvane/timers/timer.h"

#include <string>

#include "borvane/automation/error.h"
#include "borvane/frame/class_table.h"
#include "borvane/platform/session/clock.h"

namespace borvane {

namespace {

int32_t CurrentTick() {
  return static_cast<int32_t>(platform::SystemClock().TickCount());
}

}  // namespace

Timer::Timer() {
  platform::TimerCaps caps;
  if (platform::SystemClock().GetDevCaps(caps)) {
    mlngMinimumResolution = static_cast<int32_t>(caps.wPeriodMin);
    mlngMaximumResolution = static_cast<int32_t>(caps.wPeriodMax);
  }
  mlngStart = CurrentTick();
}

int32_t Timer::Elapsed() const {
  int64_t span = int64_t{CurrentTick()} - mlngStart;
  if (span < INT32_MIN || span > INT32_MAX) ThrowPlatformError(kErrOverflow);
  return static_cast<int32_t>(span);
}

void Timer::Reset() {
  mlngStart = CurrentTick();
}

void Timer::Describe(ClassBuilder<Timer>& b) {
  // ClassId and InterfaceId share one buffer, so each is copied before the next is asked.
  const std::string clsid = ClassId(kOrderTimer);
  const std::string iid = InterfaceId(kOrderTimer);
  b.Creatable()
      .Order(kOrderTimer)
      .Ids(clsid.c_str(), iid.c_str())
      .Get("Elapsed", &Timer::Elapsed)
      .Get("MinimumResolution", &Timer::MinimumResolution)
      .Get("MaximumResolution", &Timer::MaximumResolution)
      .Method("Reset", &Timer::Reset);
}

BORVANE_REGISTER_CLASS(Timer)

}  // namespace borvane
