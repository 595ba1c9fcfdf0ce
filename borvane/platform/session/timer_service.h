// The thread timer of the platform: repeating timers whose ticks the calling thread's message
// loop delivers to one plain function, with the timer id and no user data.
#ifndef BORVANE_PLATFORM_SESSION_TIMER_SERVICE_H_
#define BORVANE_PLATFORM_SESSION_TIMER_SERVICE_H_

#include <cstdint>

#include "borvane/platform/base/service.h"

namespace borvane::platform {

// The message number a tick carries.
inline constexpr int32_t WM_TIMER = 0x113;

// Called for each tick with window 0, WM_TIMER, the timer id and the tick count.
using TIMERPROC = void (*)(int32_t hwnd, int32_t uMsg, int32_t idEvent, int32_t dwTime);

class TimerService {
 public:
  virtual ~TimerService() = default;
  // Starts a repeating timer of the calling thread with a period of `uElapse` milliseconds
  // (below 1 counts as 1). Returns a new id, not 0 and not used before on this thread, or 0
  // when the timer is refused. Ticks come only while the thread runs its message loop; at
  // most one tick of a timer waits at a time, and missed periods are not made up.
  virtual int32_t SetTimer(int32_t uElapse, TIMERPROC lpTimerFunc) = 0;
  // Stops the timer; false when no timer has that id. A tick already waiting in the queue
  // is still delivered after it.
  virtual bool KillTimer(int32_t uIDEvent) = 0;

  // The calling thread's own message loop (platform/message_loop.h).
  static TimerService& Real();
};

inline TimerService& Timers() {
  return Current<TimerService>::Get();
}

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_SESSION_TIMER_SERVICE_H_
