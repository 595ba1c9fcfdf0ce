// Timers: how a tick reaches its TimerEvent as the number of running timers grows, and how
// late ticks arrive on the real message loop.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "borvane/automation/dispatch.h"
#include "borvane/platform/session/message_loop.h"
#include "borvane/platform/testing/session.h"
#include "borvane/timers/mod_timer_event.h"
#include "borvane/timers/timer_event.h"

namespace {

using borvane::ConnectEvents;
using borvane::MakeRef;
using borvane::Object;
using borvane::Ref;
using borvane::TimerEvent;
using borvane::Variant;
namespace platform = borvane::platform;

// `n` running timers on a fake loop (so that no real tick disturbs the measure), each counting
// its Timer events into `*count`.
std::vector<Ref<TimerEvent>> StartTimers(int n, int32_t interval, int64_t* count) {
  std::vector<Ref<TimerEvent>> timers;
  for (int i = 0; i < n; ++i) {
    auto t = MakeRef<TimerEvent>();
    t->SetInterval(interval);
    ConnectEvents(Object(t), "Timer", [count](std::vector<Variant>&) { ++*count; });
    t->SetEnabled(true);
    timers.push_back(t);
  }
  return timers;
}

// One tick through the platform's callback to the object that owns it, among n running.
void BM_TickToObject(benchmark::State& state) {
  platform::FakeClock clock;
  platform::FakeMessageLoop loop(clock);
  platform::ScopedService<platform::TimerService> use(loop);
  int64_t events = 0;
  auto timers = StartTimers(static_cast<int>(state.range(0)), 1000, &events);
  std::vector<int32_t> ids;
  for (auto& t : timers) ids.push_back(t->TimerID());
  std::shuffle(ids.begin(), ids.end(), std::mt19937(42));
  size_t i = 0;
  for (auto _ : state) {
    borvane::modTimerEvent::TimerProc(0, platform::WM_TIMER, ids[i], 0);
    if (++i == ids.size()) i = 0;
  }
  if (events != static_cast<int64_t>(state.iterations())) state.SkipWithError("lost ticks");
}
BENCHMARK(BM_TickToObject)->Arg(1)->Arg(10)->Arg(100)->Arg(1000);

// For comparison: the cost of offering each tick to every entry, each comparing its id.
void BM_OfferToEveryEntry(benchmark::State& state) {
  platform::FakeClock clock;
  platform::FakeMessageLoop loop(clock);
  platform::ScopedService<platform::TimerService> use(loop);
  int64_t events = 0;
  auto timers = StartTimers(static_cast<int>(state.range(0)), 1000, &events);
  size_t i = 0;
  for (auto _ : state) {
    int32_t id = timers[i]->TimerID();
    for (auto& t : timers) t->TimerCallBack(id);
    if (++i == timers.size()) i = 0;
  }
}
BENCHMARK(BM_OfferToEveryEntry)->Arg(1)->Arg(10)->Arg(100)->Arg(1000);

// One tick through the whole path: the loop finds what is due, queues and delivers it.
// The n timers are spread over the period, so each run of the loop has one tick to deliver.
void BM_LoopDeliversOneTick(benchmark::State& state) {
  platform::FakeClock clock;
  platform::FakeMessageLoop loop(clock);
  platform::ScopedService<platform::TimerService> use(loop);
  int64_t events = 0;
  const int n = static_cast<int>(state.range(0));
  std::vector<Ref<TimerEvent>> timers;
  for (int i = 0; i < n; ++i) {
    auto more = StartTimers(1, n, &events);  // a period of n ms, one start per ms
    timers.push_back(more[0]);
    clock.AdvanceMs(1);
  }
  loop.ProcessDue();
  for (auto _ : state) {
    clock.AdvanceMs(1);
    loop.ProcessDue();
  }
  if (events < static_cast<int64_t>(state.iterations())) state.SkipWithError("lost ticks");
}
BENCHMARK(BM_LoopDeliversOneTick)->Arg(1)->Arg(10)->Arg(100)->Arg(1000);

// Lateness on the real loop: from when a tick was due to when its Timer event runs, over two
// seconds of 20 ms timers. Arg 0: timers; arg 1: 1 to spread their starts over the period
// instead of starting them together.
void BM_RealLateness(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const bool spread = state.range(1) != 0;
  constexpr int32_t kInterval = 20;
  platform::MessageLoop& loop = platform::MessageLoop::ForThread();
  platform::Clock& clock = platform::Clock::Real();
  std::vector<int64_t> late_ns;
  late_ns.reserve(static_cast<size_t>(n) * 2000 / kInterval + 1000);
  for (auto _ : state) {
    late_ns.clear();
    std::vector<Ref<TimerEvent>> timers;
    for (int i = 0; i < n; ++i) {
      auto t = MakeRef<TimerEvent>();
      t->SetInterval(kInterval);
      ConnectEvents(Object(t), "Timer", [&](std::vector<Variant>&) {
        late_ns.push_back(clock.MonotonicNs() - loop.CurrentTickDueNs());
      });
      t->SetEnabled(true);
      timers.push_back(t);
      if (spread) {
        int64_t until = clock.MonotonicNs() + int64_t{kInterval} * 1'000'000 / n;
        loop.RunUntil([&] { return clock.MonotonicNs() >= until; }, kInterval);
      }
    }
    late_ns.clear();  // measure from the first whole period on
    loop.RunFor(2000);
    timers.clear();
  }
  std::sort(late_ns.begin(), late_ns.end());
  auto at = [&](double q) {
    return late_ns.empty()
               ? 0.0
               : static_cast<double>(
                     late_ns[static_cast<size_t>(q * static_cast<double>(late_ns.size() - 1))]) /
                     1000.0;
  };
  state.counters["ticks"] = static_cast<double>(late_ns.size());
  state.counters["median_us"] = at(0.5);
  state.counters["p99_us"] = at(0.99);
  state.counters["max_us"] = at(1.0);
}
BENCHMARK(BM_RealLateness)
    ->Args({1, 0})
    ->Args({1000, 0})
    ->Args({1000, 1})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
