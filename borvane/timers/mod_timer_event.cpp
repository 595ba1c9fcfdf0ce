#include "borvane/timers/mod_timer_event.h"

#include <unordered_map>

#include "borvane/automation/object.h"
#include "borvane/platform/session/timer_service.h"
#include "borvane/timers/timer_event.h"

namespace borvane::modTimerEvent {

namespace {

// The entries by timer id (the id is the whole of the "T" key's content). A tick finds its
// object in constant time instead of being offered to every entry: each entry compares its
// own id, and ids are unique on the thread, so only the entry under the tick's id can act.
struct TimerTable {
  std::unordered_map<int32_t, TimerEvent*> entries;  // not owned
};

// No object while no TimerEvent of the thread runs. A plain pointer needs no destructor at
// thread exit, so a TimerEvent released late in a thread's shutdown still finds it.
thread_local TimerTable* mcolTimers = nullptr;

void ReleaseTableIfEmpty() {
  if (mcolTimers && mcolTimers->entries.empty()) {
    delete mcolTimers;
    mcolTimers = nullptr;
  }
}

}  // namespace

// Every handler below reads the failure and drops it (the trace line is left out): the
// operation ends normally, with any result not yet set at 0 or False.

int32_t StartTimer(TimerEvent& objTimer, int32_t lngInterval, int32_t lngTimerID) {
  int32_t started = 0;
  try {
    if (!mcolTimers) mcolTimers = new TimerTable;
    if (lngTimerID == 0 && lngInterval > 0) {
      started = platform::Timers().SetTimer(lngInterval, &TimerProc);
      // A refused timer gets no entry: a stopped object is never removed from the table.
      if (started != 0) mcolTimers->entries.emplace(started, &objTimer);
      lngTimerID = started;
    }
    // A table that got no entry goes again at once, so that the thread has no table while
    // none of its TimerEvent objects runs.
    ReleaseTableIfEmpty();
    return lngTimerID;
  } catch (...) {
    // "StartTimer Error ". A timer without an entry would run for nobody.
    if (started != 0) {
      try {
        platform::Timers().KillTimer(started);
      } catch (...) {
      }
    }
    return 0;
  }
}

void StopTimer(int32_t& lngTimerID) {
  try {
    if (!mcolTimers) return;
    if (!TimerRunning(lngTimerID)) return;
    if (!platform::Timers().KillTimer(lngTimerID)) return;
    mcolTimers->entries.erase(lngTimerID);
    lngTimerID = 0;
    ReleaseTableIfEmpty();
  } catch (...) {
    // "StopTimer Error "
  }
}

bool TimerRunning(int32_t lngTimerID) {
  return lngTimerID != 0;
}

void TimerProc(int32_t hwnd, int32_t uMsg, int32_t idEvent, int32_t dwTime) {
  (void)hwnd, (void)dwTime;
  try {
    if (uMsg != platform::WM_TIMER) return;
    if (!mcolTimers) {
      // A tick that was queued before the last timer of the thread stopped.
      if (idEvent != 0) platform::Timers().KillTimer(idEvent);
      return;
    }
    auto it = mcolTimers->entries.find(idEvent);
    if (it == mcolTimers->entries.end()) return;
    // Our own hold: a sink may drop the last outside reference, and the object must end only
    // once its tick is over.
    Ref<TimerEvent> served(it->second);
    served->TimerCallBack(idEvent);
  } catch (...) {
    // "TimerProc Error "
  }
}

void ForgetTimer(int32_t lngTimerID) {
  if (!mcolTimers) return;
  mcolTimers->entries.erase(lngTimerID);
  ReleaseTableIfEmpty();
}

bool TableExists() {
  return mcolTimers != nullptr;
}

int32_t TableCount() {
  return mcolTimers ? static_cast<int32_t>(mcolTimers->entries.size()) : 0;
}

}  // namespace borvane::modTimerEvent
