// TimerEvent: a periodic timer for code without a window. Set Interval (milliseconds) and
// Enabled, and the event Timer comes at that pace through the thread's message loop
// (platform/message_loop.h); without a running loop no tick arrives.
//
// No error ever leaves it. A running TimerEvent is not kept alive by its timer: dropping the
// last reference stops it.
#ifndef BORVANE_TIMERS_TIMER_EVENT_H_
#define BORVANE_TIMERS_TIMER_EVENT_H_

#include <cstdint>

#include "borvane/automation/binding.h"
#include "borvane/automation/dispatch.h"

namespace borvane {

class TimerEvent : public Dispatchable<TimerEvent> {
 public:
  static constexpr const char* kClassName = "TimerEvent";
  static void Describe(ClassBuilder<TimerEvent>& b);
  // The outgoing interface __TimerEvent, with its one event Timer (no arguments).
  static const InterfaceInfo& EventInterface();

  // Stopped, with an interval of 1000 ms.
  TimerEvent();
  // Stops the timer and leaves no entry in the thread's timer table.
  ~TimerEvent() override;

  // True starts the timer if it is stopped and the interval is above 0; False stops it.
  void SetEnabled(bool blnEnabled);
  // True exactly while the timer runs.
  bool Enabled() const;
  // Above 0: stored, and a running timer restarts its period at once under a new id.
  // 0 or below: the interval becomes 0 and the timer stops.
  void SetInterval(int32_t lngInterval);
  int32_t Interval() const;

  // Library-internal: a tick of the thread's timer `idEvent`; raises Timer if it is this
  // object's. A failing sink ends here.
  void TimerCallBack(int32_t idEvent);
  // Library-internal: the platform's id while running, else 0.
  int32_t TimerID() const { return mlngTimerID; }

  EventSource* GetEventSource() override { return &mEvents; }

 private:
  int32_t mlngInterval = 1000;
  int32_t mlngTimerID = 0;
  EventSource mEvents;
};

}  // namespace borvane

#endif  // BORVANE_TIMERS_TIMER_EVENT_H_
