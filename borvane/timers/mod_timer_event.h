// modTimerEvent: the thread's table of running TimerEvent objects, which brings the platform's
// ticks (a plain callback with a timer id and no user data) to the right object.
//
// The table exists once per thread. It is made by the first StartTimer, holds one entry per
// running object under the object's timer id without owning it, and goes when its last
// entry goes. No error leaves any of these operations.
#ifndef BORVANE_TIMERS_MOD_TIMER_EVENT_H_
#define BORVANE_TIMERS_MOD_TIMER_EVENT_H_

#include <cstdint>

namespace borvane {

class TimerEvent;

namespace modTimerEvent {

// Starts a platform timer for `objTimer` when `lngTimerID` is 0 and `lngInterval` above 0, and
// enters the object under the new id. Returns the id after the call: the new one, or
// `lngTimerID` unchanged when nothing was started, or 0 after a refusal or a failure.
int32_t StartTimer(TimerEvent& objTimer, int32_t lngInterval, int32_t lngTimerID);
// Stops a running timer, removes its entry and sets `lngTimerID` to 0. When the platform
// fails to stop it, id and entry stay. Releases the table with its last entry.
void StopTimer(int32_t& lngTimerID);
// True if `lngTimerID` is not 0.
bool TimerRunning(int32_t lngTimerID);
// The callback the platform calls for each tick. Only WM_TIMER counts; the tick goes to the
// entry of `idEvent`. A tick that arrives after the table has gone stops its timer.
void TimerProc(int32_t hwnd, int32_t uMsg, int32_t idEvent, int32_t dwTime);

// Library-internal: removes the entry of `lngTimerID` whatever the platform did, for an object
// that ends; releases the table with its last entry.
void ForgetTimer(int32_t lngTimerID);
// Library-internal, for inspection: whether the thread has a table, and its number of entries.
bool TableExists();
int32_t TableCount();

}  // namespace modTimerEvent
}  // namespace borvane

#endif  // BORVANE_TIMERS_MOD_TIMER_EVENT_H_
