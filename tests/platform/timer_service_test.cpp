#include <gtest/gtest.h>
#include <poll.h>

#include <vector>

#include "borvane/platform/session/clock.h"
#include "borvane/platform/session/message_loop.h"
#include "borvane/platform/session/timer_service.h"
#include "borvane/platform/testing/session.h"

namespace borvane::platform {
namespace {

// Ticks arrive at a plain function without user data, so they are recorded here.
struct Delivered {
  int32_t msg;
  int32_t id;
};
thread_local std::vector<Delivered> g_ticks;
thread_local std::function<void(int32_t)> g_on_tick;

void Record(int32_t hwnd, int32_t uMsg, int32_t idEvent, int32_t dwTime) {
  (void)hwnd, (void)dwTime;
  g_ticks.push_back({uMsg, idEvent});
  if (g_on_tick) g_on_tick(idEvent);
}

int CountOf(int32_t id) {
  int n = 0;
  for (const Delivered& d : g_ticks) n += d.id == id;
  return n;
}

class FakeLoopTest : public ::testing::Test {
 protected:
  FakeLoopTest() {
    g_ticks.clear();
    g_on_tick = nullptr;
  }
  ~FakeLoopTest() override { g_on_tick = nullptr; }
  FakeClock clock;
  FakeMessageLoop loop{clock};
};

TEST_F(FakeLoopTest, IdsAreNewAndNotZero) {
  int32_t a = loop.SetTimer(10, &Record), b = loop.SetTimer(10, &Record);
  EXPECT_TRUE(a != 0 && b != 0 && a != b);
  EXPECT_TRUE(loop.KillTimer(a));
  EXPECT_FALSE(loop.KillTimer(a) || loop.KillTimer(0));
  int32_t c = loop.SetTimer(10, &Record);
  EXPECT_TRUE(c != a && c != b);
  EXPECT_EQ(loop.SetTimer(10, nullptr), 0);
  EXPECT_EQ(loop.TimerCount(), 2);
}

TEST_F(FakeLoopTest, DeliversOnlyWhenRunAndAtMostOneWaitingTickPerTimer) {
  int32_t id = loop.SetTimer(10, &Record);
  EXPECT_EQ(loop.NextDueInMs(), 10);
  clock.AdvanceMs(95);  // nine periods pass while nobody runs the loop
  EXPECT_TRUE(g_ticks.empty());
  EXPECT_EQ(loop.NextDueInMs(), 0);
  EXPECT_EQ(loop.QueueDueTicks(), 1);
  EXPECT_EQ(loop.QueueDueTicks(), 0);
  EXPECT_EQ(loop.ProcessDue(), 1);
  ASSERT_EQ(g_ticks.size(), 1u);
  EXPECT_EQ(g_ticks[0].msg, WM_TIMER);
  EXPECT_EQ(g_ticks[0].id, id);
  // The missed periods are not made up; the next tick comes a period after the last one.
  EXPECT_EQ(loop.ProcessDue(), 0);
  EXPECT_EQ(loop.NextDueInMs(), 10);
  loop.RunFor(10);
  EXPECT_EQ(CountOf(id), 2);
  // Intervals below 1 ms run at 1 ms.
  int32_t fast = loop.SetTimer(0, &Record);
  loop.RunFor(5);
  EXPECT_EQ(CountOf(fast), 5);
}

TEST_F(FakeLoopTest, WaitingTickArrivesAfterKillTimer) {
  int32_t a = loop.SetTimer(10, &Record);
  int32_t b = loop.SetTimer(10, &Record);
  g_on_tick = [&](int32_t id) {
    if (id == a) loop.KillTimer(b);  // b's tick already waits behind a's
  };
  clock.AdvanceMs(10);
  EXPECT_EQ(loop.ProcessDue(), 2);
  EXPECT_EQ(CountOf(b), 1);
  loop.RunFor(100);
  EXPECT_EQ(CountOf(b), 1);
  EXPECT_EQ(CountOf(a), 11);
  EXPECT_EQ(loop.WaitingTicks(), 0);
  EXPECT_EQ(loop.NextDueInMs(), 10);
  loop.KillTimer(a);
  EXPECT_EQ(loop.NextDueInMs(), -1);
}

TEST_F(FakeLoopTest, RunUntilStopsAtTheConditionOrTheDeadline) {
  int32_t id = loop.SetTimer(7, &Record);
  int64_t start = clock.MonotonicNs();
  EXPECT_TRUE(loop.RunUntil([] { return g_ticks.size() == 3; }, 1000));
  EXPECT_EQ(clock.MonotonicNs() - start, 21'000'000);
  EXPECT_FALSE(loop.RunUntil([] { return false; }, 50));
  EXPECT_EQ(clock.MonotonicNs() - start, 71'000'000);
  EXPECT_EQ(CountOf(id), 10);  // 7, 14, ... 70
  loop.KillTimer(id);
  EXPECT_FALSE(loop.RunUntil(nullptr, 1000));  // no timer: waits out the time
}

TEST_F(FakeLoopTest, TickHandlerMayRunTheLoopAndChangeTimers) {
  int32_t a = loop.SetTimer(10, &Record);
  int32_t b = loop.SetTimer(10, &Record);
  int32_t started = 0;
  int depth = 0;
  g_on_tick = [&](int32_t id) {
    if (id != a || depth > 0) return;
    ++depth;
    loop.ProcessDue();  // delivers b's waiting tick from inside a's
    started = loop.SetTimer(5, &Record);
    loop.KillTimer(a);
    --depth;
  };
  loop.RunFor(10);
  ASSERT_EQ(g_ticks.size(), 2u);
  EXPECT_EQ(g_ticks[1].id, b);
  loop.RunFor(10);
  EXPECT_EQ(CountOf(a), 1);
  EXPECT_EQ(CountOf(b), 2);
  EXPECT_EQ(CountOf(started), 2);
}

TEST_F(FakeLoopTest, ManyStartsAndStopsDoNotGrowTheSchedule) {
  int32_t keep = loop.SetTimer(1000, &Record);
  for (int i = 0; i < 10000; ++i) loop.KillTimer(loop.SetTimer(100000, &Record));
  EXPECT_EQ(loop.TimerCount(), 1);
  EXPECT_EQ(loop.NextDueInMs(), 1000);
  loop.RunFor(1000);
  EXPECT_EQ(CountOf(keep), 1);
  EXPECT_EQ(g_ticks.size(), 1u);
}

// The one test on real time: the real clock and loop deliver, and the descriptor tells when.
TEST(RealLoopTest, DeliversTicksOnTheThreadAndSignalsItsDescriptor) {
  g_ticks.clear();
  MessageLoop& loop = MessageLoop::ForThread();
  EXPECT_EQ(&loop, &TimerService::Real());
  ASSERT_GE(loop.Fd(), 0);
  Clock& clock = Clock::Real();
  int64_t start = clock.MonotonicNs();
  int32_t id = loop.SetTimer(20, &Record);
  ASSERT_NE(id, 0);
  EXPECT_TRUE(loop.RunUntil([] { return g_ticks.size() >= 3; }, 2000));
  int64_t took_ms = (clock.MonotonicNs() - start) / 1'000'000;
  EXPECT_GE(took_ms, 59);
  EXPECT_LT(took_ms, 2000);

  // A host's own loop: wait on the descriptor, then process what is due.
  pollfd p{loop.Fd(), POLLIN, 0};
  EXPECT_EQ(poll(&p, 1, 0), 0);  // nothing due right after delivering
  ASSERT_EQ(poll(&p, 1, 2000), 1);
  EXPECT_EQ(loop.ProcessDue(), 1);
  EXPECT_EQ(CountOf(id), 4);
  EXPECT_TRUE(loop.KillTimer(id));
  EXPECT_EQ(poll(&p, 1, 50), 0);  // no timer: never readable
}

}  // namespace
}  // namespace borvane::platform
