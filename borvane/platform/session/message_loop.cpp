#include "borvane/platform/session/message_loop.h"

#include <poll.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>

namespace borvane::platform {

namespace {

constexpr int64_t kNever = std::numeric_limits<int64_t>::max();

// Heap order: the earliest due first, and among equal times the one scheduled first.
bool Later(const auto& a, const auto& b) {
  return a.due_ns != b.due_ns ? a.due_ns > b.due_ns : a.seq > b.seq;
}

timespec ToTimespec(int64_t ns) {
  return timespec{static_cast<time_t>(ns / 1'000'000'000), static_cast<long>(ns % 1'000'000'000)};
}

// The real loop: its descriptor is a timerfd on CLOCK_MONOTONIC (the clock of Clock::Real),
// armed at the next wake time, so that it is readable exactly while something is deliverable.
class RealMessageLoop : public MessageLoop {
 public:
  RealMessageLoop() : MessageLoop(Clock::Real()) {
    fd_ = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
  }
  ~RealMessageLoop() override {
    if (fd_ >= 0) close(fd_);
  }
  int Fd() const override { return fd_; }

 protected:
  void WaitUntil(int64_t deadline_ns) override {
    int64_t now = clock().MonotonicNs();
    if (deadline_ns <= now) return;
    if (fd_ < 0) {
      timespec until = ToTimespec(deadline_ns);
      while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
      }
      return;
    }
    timespec span = ToTimespec(deadline_ns - now);
    pollfd p{fd_, POLLIN, 0};
    ppoll(&p, 1, &span, nullptr);
  }

  // Arms the descriptor at the next wake time; while ticks wait it is armed in the past, so
  // that it stays readable until they have been delivered.
  void ScheduleChanged() override {
    if (fd_ < 0) return;
    int64_t wake = WaitingTicks() > 0 ? 1 : NextWakeNs();
    if (wake == armed_ns_) return;
    uint64_t expirations;
    while (read(fd_, &expirations, sizeof expirations) > 0) {
    }
    itimerspec when{};
    if (wake != kNever) when.it_value = ToTimespec(wake);
    timerfd_settime(fd_, TFD_TIMER_ABSTIME, &when, nullptr);
    armed_ns_ = wake;
  }

 private:
  int fd_ = -1;
  int64_t armed_ns_ = kNever;
};

// A thread's loop lives until the thread ends. A flag that needs no destructor tells whether
// it has gone, for objects released later in the thread's shutdown.
thread_local RealMessageLoop* t_loop = nullptr;
thread_local bool t_loop_gone = false;

struct LoopOwner {
  ~LoopOwner() {
    delete t_loop;
    t_loop = nullptr;
    t_loop_gone = true;
  }
};
thread_local LoopOwner t_loop_owner;

// What a thread gets after its loop has gone: every timer is refused.
class EndedTimers : public TimerService {
 public:
  int32_t SetTimer(int32_t, TIMERPROC) override { return 0; }
  bool KillTimer(int32_t) override { return false; }
};

}  // namespace

MessageLoop& MessageLoop::ForThread() {
  if (!t_loop) {
    (void)&t_loop_owner;  // makes the owner's destructor run at thread exit
    t_loop = new RealMessageLoop();
  }
  return *t_loop;
}

TimerService& TimerService::Real() {
  static EndedTimers ended;
  if (t_loop_gone) return ended;
  return MessageLoop::ForThread();
}

MessageLoop::MessageLoop(Clock& clock) : clock_(clock) {}
MessageLoop::~MessageLoop() = default;

int32_t MessageLoop::SetTimer(int32_t uElapse, TIMERPROC lpTimerFunc) {
  if (!lpTimerFunc) return 0;
  // Ids count up and skip those in use, so that a stopped timer's id does not come back
  // before the count has gone round all 2^31 - 1 of them.
  for (int32_t tries = 0; timers_.count(next_id_) != 0; ++tries) {
    if (tries == std::numeric_limits<int32_t>::max()) return 0;
    next_id_ = next_id_ == std::numeric_limits<int32_t>::max() ? 1 : next_id_ + 1;
  }
  int32_t id = next_id_;
  next_id_ = next_id_ == std::numeric_limits<int32_t>::max() ? 1 : next_id_ + 1;
  int64_t interval_ns = int64_t{std::max(uElapse, 1)} * 1'000'000;
  Record& r = timers_[id];
  r.interval_ns = interval_ns;
  r.proc = lpTimerFunc;
  Schedule(id, r, clock_.MonotonicNs() + interval_ns);
  ScheduleChanged();
  return id;
}

bool MessageLoop::KillTimer(int32_t uIDEvent) {
  if (timers_.erase(uIDEvent) == 0) return false;
  ++stale_;
  Compact();
  ScheduleChanged();
  return true;
}

void MessageLoop::Schedule(int32_t id, Record& r, int64_t due_ns) {
  r.heap_seq = next_seq_++;
  heap_.push_back(Due{due_ns, r.heap_seq, id});
  std::push_heap(heap_.begin(), heap_.end(), Later<Due, Due>);
}

void MessageLoop::DropStaleTop() {
  while (!heap_.empty()) {
    const Due& top = heap_.front();
    auto it = timers_.find(top.id);
    if (it != timers_.end() && it->second.heap_seq == top.seq) return;
    std::pop_heap(heap_.begin(), heap_.end(), Later<Due, Due>);
    heap_.pop_back();
    if (stale_ > 0) --stale_;
  }
}

// Entries of stopped timers wait in the heap until their time; rebuild it when they outnumber
// the live ones, so that starting and stopping in a loop does not grow it.
void MessageLoop::Compact() {
  if (stale_ < 64 || stale_ < timers_.size()) return;
  std::vector<Due> live;
  live.reserve(timers_.size());
  for (const Due& d : heap_) {
    auto it = timers_.find(d.id);
    if (it != timers_.end() && it->second.heap_seq == d.seq) live.push_back(d);
  }
  heap_ = std::move(live);
  std::make_heap(heap_.begin(), heap_.end(), Later<Due, Due>);
  stale_ = 0;
}

int32_t MessageLoop::QueueDueTicks() {
  return QueueTicksDueBy(clock_.MonotonicNs());
}

int32_t MessageLoop::QueueTicksDueBy(int64_t limit_ns) {
  int64_t now = clock_.MonotonicNs();
  int32_t queued = 0;
  for (DropStaleTop(); !heap_.empty() && heap_.front().due_ns <= limit_ns; DropStaleTop()) {
    Due due = heap_.front();
    std::pop_heap(heap_.begin(), heap_.end(), Later<Due, Due>);
    heap_.pop_back();
    Record& r = timers_.find(due.id)->second;
    if (!r.waiting) {
      r.waiting = true;
      waiting_.push_back(Tick{due.id, r.proc, due.due_ns});
      ++queued;
    }
    // The period goes on from when it was due; periods that have already passed are dropped.
    int64_t next = due.due_ns + r.interval_ns;
    if (next <= now) next = now + r.interval_ns;
    Schedule(due.id, r, next);
  }
  ScheduleChanged();
  return queued;
}

bool MessageLoop::DispatchOne() {
  if (waiting_.empty()) return false;
  Tick tick = waiting_.front();
  waiting_.pop_front();
  auto it = timers_.find(tick.id);
  if (it != timers_.end()) it->second.waiting = false;
  ScheduleChanged();
  struct Restore {
    int64_t& slot;
    int64_t saved;
    ~Restore() { slot = saved; }
  } restore{current_due_ns_, current_due_ns_};
  current_due_ns_ = tick.due_ns;
  tick.proc(0, WM_TIMER, tick.id, static_cast<int32_t>(clock_.TickCount()));
  return true;
}

int32_t MessageLoop::ProcessDue() {
  QueueDueTicks();
  int32_t delivered = 0;
  while (DispatchOne()) ++delivered;
  return delivered;
}

bool MessageLoop::RunUntil(const std::function<bool()>& done, int64_t timeout_ms) {
  int64_t deadline = clock_.MonotonicNs() + std::max<int64_t>(timeout_ms, 0) * 1'000'000;
  for (;;) {
    if (done && done()) return true;
    int64_t now = clock_.MonotonicNs();
    // Ticks due by the deadline are delivered, later ones wait for the next run; so the run
    // ends even when ticks come faster than they can be handled.
    QueueTicksDueBy(std::min(now, deadline));
    if (DispatchOne()) continue;
    if (now >= deadline) return done && done();
    WaitUntil(std::min(NextWakeNs(), deadline));
  }
}

int64_t MessageLoop::NextWakeNs() {
  if (!waiting_.empty()) return clock_.MonotonicNs();
  DropStaleTop();
  return heap_.empty() ? kNever : heap_.front().due_ns;
}

int64_t MessageLoop::NextDueInMs() {
  int64_t wake = NextWakeNs();
  if (wake == kNever) return -1;
  int64_t span = wake - clock_.MonotonicNs();
  return span <= 0 ? 0 : (span + 999'999) / 1'000'000;
}

}  // namespace borvane::platform
