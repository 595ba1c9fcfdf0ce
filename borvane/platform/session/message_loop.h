// The message loop of a thread: the timer service whose ticks it delivers, and the calls with
// which the hosting code runs it.
//
// Linux has no message queue per thread, so each thread gets one on first use. The host either
// runs it (ProcessDue, RunUntil, RunFor) or adds Fd() to a loop of its own (glib, Qt, asio)
// and calls ProcessDue whenever the descriptor is readable. Nothing is delivered otherwise.
#ifndef BORVANE_PLATFORM_SESSION_MESSAGE_LOOP_H_
#define BORVANE_PLATFORM_SESSION_MESSAGE_LOOP_H_

#include <cstdint>
#include <deque>
#include <functional>
#include <unordered_map>
#include <vector>

#include "borvane/platform/session/clock.h"
#include "borvane/platform/session/timer_service.h"

namespace borvane::platform {

class MessageLoop : public TimerService {
 public:
  explicit MessageLoop(Clock& clock);
  ~MessageLoop() override;
  MessageLoop(const MessageLoop&) = delete;
  MessageLoop& operator=(const MessageLoop&) = delete;

  int32_t SetTimer(int32_t uElapse, TIMERPROC lpTimerFunc) override;
  bool KillTimer(int32_t uIDEvent) override;

  // Queues a tick for each timer that is due and has none waiting; returns how many.
  int32_t QueueDueTicks();
  // Delivers the oldest waiting tick; false when none waits.
  bool DispatchOne();
  // Queues what is due and delivers every waiting tick, then returns how many it delivered.
  // Never waits. A tick handler may call it again (the inner call delivers what follows).
  int32_t ProcessDue();
  // Runs the loop, waiting between ticks, until `done` gives true (asked before each tick) or
  // `timeout_ms` has passed. Returns done's last answer (false for an empty `done`).
  bool RunUntil(const std::function<bool()>& done, int64_t timeout_ms);
  void RunFor(int64_t ms) { RunUntil(nullptr, ms); }

  // Milliseconds until there is something to deliver, rounded up: 0 when a tick waits or is
  // due, -1 when no timer runs.
  int64_t NextDueInMs();
  // A descriptor that is readable while a tick is due or waiting, for a host's own loop; -1
  // when this loop has none.
  virtual int Fd() const { return -1; }

  int32_t TimerCount() const { return static_cast<int32_t>(timers_.size()); }
  int32_t WaitingTicks() const { return static_cast<int32_t>(waiting_.size()); }
  // When the tick being delivered was due (the clock's nanoseconds), to measure lateness;
  // 0 outside a delivery.
  int64_t CurrentTickDueNs() const { return current_due_ns_; }

  // The calling thread's own loop over the real clock, made on first use.
  static MessageLoop& ForThread();

 protected:
  // Blocks until `deadline_ns` of the clock, or until Fd() becomes readable.
  virtual void WaitUntil(int64_t deadline_ns) = 0;
  // Tells the loop that the next wake time may have changed.
  virtual void ScheduleChanged() {}
  // The clock time of the next thing to deliver: now while a tick waits, INT64_MAX when no
  // timer runs.
  int64_t NextWakeNs();
  Clock& clock() { return clock_; }

 private:
  struct Record {
    int64_t interval_ns;
    TIMERPROC proc;
    uint64_t heap_seq;  // which heap entry is this timer's live one
    bool waiting = false;
  };
  struct Due {
    int64_t due_ns;
    uint64_t seq;
    int32_t id;
  };
  struct Tick {
    int32_t id;
    TIMERPROC proc;
    int64_t due_ns;
  };

  int32_t QueueTicksDueBy(int64_t limit_ns);
  void Schedule(int32_t id, Record& r, int64_t due_ns);
  void DropStaleTop();
  void Compact();

  Clock& clock_;
  std::unordered_map<int32_t, Record> timers_;
  std::vector<Due> heap_;  // min-heap by due time; entries of stopped timers are stale
  size_t stale_ = 0;
  uint64_t next_seq_ = 1;
  std::deque<Tick> waiting_;
  int32_t next_id_ = 1;
  int64_t current_due_ns_ = 0;
};

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_SESSION_MESSAGE_LOOP_H_
