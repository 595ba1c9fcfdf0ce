#include "borvane/timers/timer_event.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <thread>

#include "borvane/automation/dispatch.h"
#include "borvane/automation/error.h"
#include "borvane/platform/session/message_loop.h"
#include "borvane/platform/testing/session.h"
#include "borvane/timers/mod_timer_event.h"

namespace borvane {
namespace {

using platform::FakeClock;
using platform::FakeMessageLoop;
using platform::ScopedService;
using platform::TimerService;

class TimerEventTest : public ::testing::Test {
 protected:
  FakeClock clock;
  FakeMessageLoop loop{clock};
  ScopedService<TimerService> use_loop{loop};

  // A timer whose Timer events run `on_tick` (by default: count them into `*count`).
  Ref<TimerEvent> Make(int32_t interval, int* count, std::function<void()> on_tick = {}) {
    auto t = MakeRef<TimerEvent>();
    t->SetInterval(interval);
    ConnectEvents(Object(t), "Timer", [count, on_tick](std::vector<Variant>&) {
      if (count) ++*count;
      if (on_tick) on_tick();
    });
    return t;
  }
};

TEST_F(TimerEventTest, StoppedObjectTransitions) {
  auto t = MakeRef<TimerEvent>();
  int ticks = 0;
  ConnectEvents(Object(t), "Timer", [&](std::vector<Variant>&) { ++ticks; });
  EXPECT_FALSE(t->Enabled());
  EXPECT_EQ(t->Interval(), 1000);
  loop.RunFor(5000);
  EXPECT_EQ(ticks, 0);  // creating starts nothing

  t->SetEnabled(false);  // Stopped, Enabled False: nothing
  t->SetInterval(250);   // Stopped, Interval above 0: stored only
  EXPECT_EQ(t->Interval(), 250);
  EXPECT_FALSE(t->Enabled());
  EXPECT_EQ(loop.set_timer_calls + loop.kill_timer_calls.size(), 0u);

  t->SetEnabled(true);  // Stopped, Enabled True: start
  EXPECT_TRUE(t->Enabled());
  EXPECT_NE(t->TimerID(), 0);
  loop.RunFor(1000);
  EXPECT_EQ(ticks, 4);

  // Interval 0 or below: stored as 0, stopped; Enabled True then does nothing.
  for (int32_t bad : {-5, 0}) {
    t->SetInterval(bad);
    EXPECT_EQ(t->Interval(), 0);
    int calls = loop.set_timer_calls;
    t->SetEnabled(true);
    EXPECT_FALSE(t->Enabled());
    EXPECT_EQ(loop.set_timer_calls, calls);
    t->SetInterval(bad);  // and again while stopped
  }
  loop.RunFor(1000);
  EXPECT_EQ(ticks, 4);
  t->SetInterval(100);
  EXPECT_FALSE(t->Enabled());
  t->SetEnabled(true);
  EXPECT_TRUE(t->Enabled());
}

TEST_F(TimerEventTest, RunningObjectTransitions) {
  int ticks = 0;
  auto t = Make(100, &ticks);
  t->SetEnabled(true);
  int32_t id = t->TimerID();
  EXPECT_EQ(loop.set_timer_calls, 1);

  loop.RunFor(50);
  t->SetEnabled(true);  // Running, Enabled True: no restart, same id
  EXPECT_EQ(t->TimerID(), id);
  EXPECT_EQ(loop.set_timer_calls, 1);
  loop.RunFor(50);
  EXPECT_EQ(ticks, 1);  // the period was not restarted

  // Running, Interval above 0: the period restarts at once under a new id.
  loop.RunFor(60);
  t->SetInterval(100);
  EXPECT_TRUE(t->Enabled());
  EXPECT_NE(t->TimerID(), id);
  EXPECT_NE(t->TimerID(), 0);
  EXPECT_EQ(loop.kill_timer_calls, std::vector<int32_t>{id});
  loop.RunFor(99);
  EXPECT_EQ(ticks, 1);
  loop.RunFor(1);
  EXPECT_EQ(ticks, 2);

  t->SetEnabled(false);  // Running, Enabled False: stop
  EXPECT_FALSE(t->Enabled());
  EXPECT_EQ(t->Interval(), 100);
  EXPECT_FALSE(modTimerEvent::TableExists());
  loop.RunFor(1000);
  EXPECT_EQ(ticks, 2);
}

TEST_F(TimerEventTest, TwoObjectsEachGetTheirOwnTicks) {
  int fast = 0, slow = 0;
  auto a = Make(100, &fast);
  auto b = Make(300, &slow);
  a->SetEnabled(true);
  b->SetEnabled(true);
  EXPECT_NE(a->TimerID(), b->TimerID());
  EXPECT_EQ(modTimerEvent::TableCount(), 2);
  loop.RunFor(900);
  EXPECT_EQ(fast, 9);
  EXPECT_EQ(slow, 3);

  // Ids are new on every start (the loop's tests show they never repeat).
  int32_t old = a->TimerID();
  a->SetEnabled(false);
  a->SetEnabled(true);
  EXPECT_NE(a->TimerID(), old);
  b.Reset();
  EXPECT_EQ(modTimerEvent::TableCount(), 1);
  a.Reset();
  EXPECT_FALSE(modTimerEvent::TableExists());
}

TEST_F(TimerEventTest, QueuedTickAfterStopRaisesNothing) {
  int ticks = 0;
  auto t = Make(100, &ticks);
  t->SetEnabled(true);
  int32_t id = t->TimerID();
  clock.AdvanceMs(100);
  ASSERT_EQ(loop.QueueDueTicks(), 1);
  t->SetEnabled(false);  // the last timer: the table goes
  EXPECT_FALSE(modTimerEvent::TableExists());
  ASSERT_TRUE(loop.DispatchOne());
  EXPECT_EQ(ticks, 0);
  // With the table gone, the late tick stops its timer once more.
  EXPECT_EQ(loop.kill_timer_calls, (std::vector<int32_t>{id, id}));

  // With another timer running, the table is there and the late tick is just passed over.
  int other_ticks = 0;
  auto other = Make(100, &other_ticks);
  other->SetEnabled(true);
  t->SetEnabled(true);
  clock.AdvanceMs(100);
  ASSERT_EQ(loop.QueueDueTicks(), 2);
  t->SetEnabled(false);
  size_t kills = loop.kill_timer_calls.size();
  EXPECT_EQ(loop.ProcessDue(), 2);
  EXPECT_EQ(ticks, 0);
  EXPECT_EQ(other_ticks, 1);
  EXPECT_EQ(loop.kill_timer_calls.size(), kills);
}

TEST_F(TimerEventTest, SinkStopsAnotherTimerWhoseTickIsQueued) {
  int b_ticks = 0;
  Ref<TimerEvent> b = Make(100, &b_ticks);
  Ref<TimerEvent> a = Make(100, nullptr, [&] { b->SetEnabled(false); });
  a->SetEnabled(true);
  b->SetEnabled(true);
  loop.RunFor(100);
  EXPECT_FALSE(b->Enabled());
  EXPECT_EQ(b_ticks, 0);  // its tick was queued with a's and arrived after the stop

  // Dropping the last reference to the other timer from the sink works the same way.
  int a2_ticks = 0;
  Ref<TimerEvent> a2 = Make(100, &a2_ticks, [&] { b.Reset(); });
  a->SetEnabled(false);
  a2->SetEnabled(true);
  b->SetEnabled(true);
  int64_t live = LiveObjectCount();
  loop.RunFor(100);
  EXPECT_EQ(LiveObjectCount(), live - 1);
  EXPECT_EQ(a2_ticks, 1);
  EXPECT_EQ(b_ticks, 0);
  EXPECT_EQ(modTimerEvent::TableCount(), 1);
}

TEST_F(TimerEventTest, SinkChangesItsOwnTimerDuringTheEvent) {
  int ticks = 0;
  Ref<TimerEvent> t;
  std::function<void()> action;
  t = Make(100, &ticks, [&] {
    if (action) action();
  });
  t->SetEnabled(true);

  action = [&] { t->SetInterval(300); };  // restart with a new period and id
  loop.RunFor(100);
  EXPECT_EQ(ticks, 1);
  EXPECT_EQ(t->Interval(), 300);
  action = nullptr;
  loop.RunFor(299);
  EXPECT_EQ(ticks, 1);
  loop.RunFor(1);
  EXPECT_EQ(ticks, 2);

  action = [&] {  // stop and start again: a new id, the period from now
    t->SetEnabled(false);
    t->SetEnabled(true);
  };
  int32_t id = t->TimerID();
  loop.RunFor(300);
  EXPECT_EQ(ticks, 3);
  EXPECT_NE(t->TimerID(), id);
  EXPECT_TRUE(t->Enabled());

  action = [&] { t->SetEnabled(false); };
  loop.RunFor(300);
  EXPECT_EQ(ticks, 4);
  EXPECT_FALSE(t->Enabled());
  EXPECT_FALSE(modTimerEvent::TableExists());
  loop.RunFor(1000);
  EXPECT_EQ(ticks, 4);

  // A sink that starts another timer: it runs from then on and gets its own ticks.
  int other_ticks = 0;
  Ref<TimerEvent> other = Make(50, &other_ticks);
  action = [&] {
    other->SetEnabled(true);
    action = nullptr;
  };
  t->SetEnabled(true);
  loop.RunFor(400);
  EXPECT_EQ(ticks, 5);
  EXPECT_EQ(other_ticks, 2);  // started at 300 and due at 350 and 400
}

TEST_F(TimerEventTest, LastReferenceDropped) {
  int64_t live = LiveObjectCount();
  auto t = Make(100, nullptr);
  t->SetEnabled(true);
  int32_t id = t->TimerID();
  EXPECT_EQ(t->RefCount(), 1u);  // the table holds no reference
  t.Reset();
  EXPECT_EQ(LiveObjectCount(), live);
  EXPECT_EQ(loop.kill_timer_calls, std::vector<int32_t>{id});
  EXPECT_FALSE(modTimerEvent::TableExists());

  // Dropped by its own sink during the event: it ends when the event is over.
  int ticks = 0;
  t = Make(100, &ticks, [&] { t.Reset(); });
  t->SetEnabled(true);
  id = t->TimerID();
  loop.RunFor(1000);
  EXPECT_EQ(ticks, 1);
  EXPECT_EQ(LiveObjectCount(), live);
  EXPECT_EQ(loop.kill_timer_calls.back(), id);
  EXPECT_FALSE(modTimerEvent::TableExists());
  EXPECT_EQ(loop.TimerCount(), 0);
}

TEST_F(TimerEventTest, SinkThatFailsAtEveryTick) {
  int ticks = 0;
  auto t = Make(10, &ticks, [] { throw std::runtime_error("sink fails"); });
  auto u = Make(10, nullptr, [] { ThrowPlatformError(kErrTypeMismatch); });
  t->SetEnabled(true);
  u->SetEnabled(true);
  EXPECT_NO_THROW(loop.RunFor(100));
  EXPECT_EQ(ticks, 10);
  EXPECT_TRUE(t->Enabled());
  EXPECT_TRUE(u->Enabled());
}

TEST_F(TimerEventTest, PlatformRefusesOrFailsToStop) {
  int ticks = 0;
  auto t = Make(100, &ticks);
  loop.refuse_set_timer = true;
  t->SetEnabled(true);
  EXPECT_FALSE(t->Enabled());
  EXPECT_FALSE(modTimerEvent::TableExists());
  loop.refuse_set_timer = false;
  t->SetEnabled(true);
  ASSERT_TRUE(t->Enabled());
  int32_t id = t->TimerID();

  loop.fail_kill_timer = true;
  t->SetEnabled(false);  // stays running as far as Enabled tells
  EXPECT_TRUE(t->Enabled());
  EXPECT_EQ(modTimerEvent::TableCount(), 1);
  t->SetInterval(50);  // cannot restart either: the interval is stored, the id kept
  EXPECT_EQ(t->TimerID(), id);
  EXPECT_EQ(t->Interval(), 50);
  loop.RunFor(100);
  EXPECT_EQ(ticks, 1);  // still ticking at the old period
  loop.fail_kill_timer = false;
  t->SetEnabled(false);  // a later stop tries again
  EXPECT_FALSE(t->Enabled());
  EXPECT_FALSE(modTimerEvent::TableExists());

  // An object that ends leaves no entry, whatever the platform gave; the timer that could not
  // be stopped is stopped by its next tick, which finds no table.
  t->SetEnabled(true);
  id = t->TimerID();
  loop.fail_kill_timer = true;
  t.Reset();
  EXPECT_FALSE(modTimerEvent::TableExists());
  EXPECT_EQ(loop.TimerCount(), 1);
  loop.fail_kill_timer = false;
  loop.RunFor(50);
  EXPECT_EQ(loop.TimerCount(), 0);
  EXPECT_EQ(loop.kill_timer_calls.back(), id);
}

TEST_F(TimerEventTest, TimerProcIgnoresOtherMessagesAndUnknownIds) {
  int ticks = 0;
  auto t = Make(100, &ticks);
  t->SetEnabled(true);
  int32_t id = t->TimerID();
  modTimerEvent::TimerProc(0, 0x112, id, 0);
  modTimerEvent::TimerProc(0, platform::WM_TIMER, id + 1000, 0);
  EXPECT_EQ(ticks, 0);
  EXPECT_TRUE(loop.kill_timer_calls.empty());
  modTimerEvent::TimerProc(0, platform::WM_TIMER, id, 0);
  EXPECT_EQ(ticks, 1);
  t->SetEnabled(false);
  size_t kills = loop.kill_timer_calls.size();
  modTimerEvent::TimerProc(0, platform::WM_TIMER, 0, 0);  // no table, id 0: nothing to stop
  EXPECT_EQ(loop.kill_timer_calls.size(), kills);

  // A TimerCallBack for another id does nothing.
  t->SetEnabled(true);
  t->TimerCallBack(t->TimerID() + 1);
  EXPECT_EQ(ticks, 1);
}

class SinkObject : public Dispatchable<SinkObject> {
 public:
  static constexpr const char* kClassName = "TimerSinkForTest";
  static void Describe(ClassBuilder<SinkObject>& b) { b.Method("Timer", &SinkObject::Timer); }
  void Timer() { ++count; }
  int count = 0;
};

TEST_F(TimerEventTest, LateBoundWithASinkObject) {
  Object t = CreateObject("Borvane.TimerEvent");
  EXPECT_EQ(CallByName(t, "Enabled", VbGet), Variant(false));
  EXPECT_EQ(CallByName(t, "Interval", VbGet), Variant(int32_t{1000}));
  auto sink = MakeRef<SinkObject>();
  ConnectEvents(t, Object(sink));
  CallByName(t, "Interval", VbLet, {Variant(int16_t{20})});
  CallByName(t, "Enabled", VbLet, {Variant(true)});
  EXPECT_EQ(CallByName(t, "Enabled", VbGet), Variant(true));
  loop.RunFor(100);
  EXPECT_EQ(sink->count, 5);
  EXPECT_THROW(CallByName(t, "TimerCallBack", VbMethod, {Variant(int32_t{1})}), Error);

  const ClassInfo& info = t->GetClassInfo();
  ASSERT_NE(info.events, nullptr);
  EXPECT_EQ(info.events->name, String("__TimerEvent"));
  ASSERT_EQ(info.events->members.size(), 1u);
  EXPECT_EQ(info.events->members[0].name, String("Timer"));
  ASSERT_EQ(info.default_interface.members.size(), 4u);
  EXPECT_EQ(info.default_interface.members[0].invoke_kind, INVOKE_PROPERTYPUT);
  EXPECT_EQ(info.default_interface.members[0].params[0].name, String("blnEnabled"));
  EXPECT_EQ(info.default_interface.members[2].params[0].name, String("lngInterval"));
  EXPECT_NE(info.clsid, info.default_interface.iid);
}

TEST_F(TimerEventTest, EachThreadHasItsOwnTable) {
  auto t = Make(100, nullptr);
  t->SetEnabled(true);
  bool other_had_table = true;
  int other_ticks = 0;
  std::thread([&] {
    FakeClock other_clock;
    FakeMessageLoop other_loop(other_clock);
    ScopedService<TimerService> use(other_loop);
    other_had_table = modTimerEvent::TableExists();
    auto mine = MakeRef<TimerEvent>();
    mine->SetInterval(10);
    ConnectEvents(Object(mine), "Timer", [&](std::vector<Variant>&) { ++other_ticks; });
    mine->SetEnabled(true);
    other_loop.RunFor(30);
  }).join();
  EXPECT_FALSE(other_had_table);
  EXPECT_EQ(other_ticks, 3);
  EXPECT_EQ(modTimerEvent::TableCount(), 1);
}

}  // namespace
}  // namespace borvane
