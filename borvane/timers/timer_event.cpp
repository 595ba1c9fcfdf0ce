#include "borvane/timers/timer_event.h"

#include <string>

#include "borvane/frame/class_table.h"
#include "borvane/timers/mod_timer_event.h"

namespace borvane {

using modTimerEvent::StartTimer;
using modTimerEvent::StopTimer;
using modTimerEvent::TimerRunning;

// Each member has a handler of its own that drops any failure ("Enabled Let Error " and so
// on); none of them can let an error reach the caller.

TimerEvent::TimerEvent() = default;

TimerEvent::~TimerEvent() {
  try {
    StopTimer(mlngTimerID);
    // The platform may have failed to stop it; the entry must go all the same, since the
    // table would otherwise point at an ended object. A later tick finds no entry.
    if (mlngTimerID != 0) modTimerEvent::ForgetTimer(mlngTimerID);
  } catch (...) {
  }
}

void TimerEvent::SetEnabled(bool blnEnabled) {
  try {
    if (blnEnabled) {
      if (!TimerRunning(mlngTimerID)) mlngTimerID = StartTimer(*this, mlngInterval, mlngTimerID);
    } else {
      StopTimer(mlngTimerID);
    }
  } catch (...) {
  }
}

bool TimerEvent::Enabled() const {
  return TimerRunning(mlngTimerID);
}

void TimerEvent::SetInterval(int32_t lngInterval) {
  try {
    if (lngInterval > 0) {
      if (TimerRunning(mlngTimerID)) {
        StopTimer(mlngTimerID);
        mlngTimerID = StartTimer(*this, lngInterval, mlngTimerID);
      }
      mlngInterval = lngInterval;
    } else {
      mlngInterval = 0;
      StopTimer(mlngTimerID);
    }
  } catch (...) {
  }
}

int32_t TimerEvent::Interval() const {
  return mlngInterval;
}

void TimerEvent::TimerCallBack(int32_t idEvent) {
  try {
    if (idEvent == mlngTimerID) mEvents.Raise(String(u"Timer"));
  } catch (...) {
    // A failing sink: the timer goes on.
  }
}

const InterfaceInfo& TimerEvent::EventInterface() {
  static const InterfaceInfo& iface = []() -> const InterfaceInfo& {
    static InterfaceInfo info;
    EventInterfaceBuilder(info, "__TimerEvent").Event("Timer");
    info.iid = String(EventInterfaceId(kOrderTimerEvent));
    info.Seal();
    return info;
  }();
  return iface;
}

void TimerEvent::Describe(ClassBuilder<TimerEvent>& b) {
  // ClassId and InterfaceId share one buffer, so each is copied before the next is asked.
  const std::string clsid = ClassId(kOrderTimerEvent);
  const std::string iid = InterfaceId(kOrderTimerEvent);
  b.Creatable()
      .Order(kOrderTimerEvent)
      .Ids(clsid.c_str(), iid.c_str())
      .Events(EventInterface())
      .Let("Enabled", &TimerEvent::SetEnabled, {"blnEnabled"})
      .Get("Enabled", &TimerEvent::Enabled)
      .Let("Interval", &TimerEvent::SetInterval, {"lngInterval"})
      .Get("Interval", &TimerEvent::Interval);
}

BORVANE_REGISTER_CLASS(TimerEvent)

}  // namespace borvane
