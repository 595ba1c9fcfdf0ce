#include "borvane/timers/timer.h"

#include <gtest/gtest.h>

#include "borvane/automation/dispatch.h"
#include "borvane/automation/error.h"
#include "borvane/platform/session/clock.h"
#include "borvane/platform/testing/session.h"

namespace borvane {
namespace {

class TimerTest : public ::testing::Test {
 protected:
  platform::FakeClock clock;
  platform::ScopedService<platform::Clock> use_clock{clock};

  int32_t ErrorOfElapsed(const Ref<Timer>& t) {
    try {
      t->Elapsed();
    } catch (const Error& e) {
      return e.Number();
    }
    return 0;
  }
};

TEST_F(TimerTest, ReadsResolutionsAtCreationAndZeroWhenTheyFail) {
  clock.SetCaps(1, 1000000);
  auto t = MakeRef<Timer>();
  clock.SetCaps(5, 50);
  EXPECT_EQ(t->MinimumResolution(), 1);
  EXPECT_EQ(t->MaximumResolution(), 1000000);

  clock.FailCaps();
  auto failed = MakeRef<Timer>();
  EXPECT_EQ(failed->MinimumResolution(), 0);
  EXPECT_EQ(failed->MaximumResolution(), 0);
  clock.AdvanceMs(7);
  EXPECT_EQ(failed->Elapsed(), 7);  // the watch runs all the same
}

TEST_F(TimerTest, RunsFromCreationAndResetStartsAgain) {
  auto t = MakeRef<Timer>();
  EXPECT_EQ(t->Elapsed(), 0);
  clock.AdvanceMs(15);
  EXPECT_EQ(t->Elapsed(), 15);
  clock.AdvanceMs(10);
  EXPECT_EQ(t->Elapsed(), 25);  // reading does not stop or reset it
  t->Reset();
  EXPECT_EQ(t->Elapsed(), 0);
  clock.AdvanceNs(999'999);  // below a whole millisecond
  EXPECT_EQ(t->Elapsed(), 0);
}

TEST_F(TimerTest, WrapOfTheCount) {
  // From -100 to 100: the full wrap from -1 to 0 is crossed without overflow.
  clock.SetTickCount(0xFFFFFF9Cu);
  auto t = MakeRef<Timer>();
  clock.AdvanceMs(200);
  EXPECT_EQ(clock.TickCount(), 100u);
  EXPECT_EQ(t->Elapsed(), 200);

  // From just below the sign change to just above it: Overflow, not a wrong number.
  clock.SetTickCount(0x7FFFFFF0u);
  t->Reset();
  clock.AdvanceMs(0x0F);
  EXPECT_EQ(t->Elapsed(), 0x0F);  // still on the positive side
  clock.AdvanceMs(0x11);
  EXPECT_EQ(ErrorOfElapsed(t), kErrOverflow);
  EXPECT_EQ(ErrorOfElapsed(t), kErrOverflow);  // stays so until Reset
  t->Reset();
  clock.AdvanceMs(3);
  EXPECT_EQ(t->Elapsed(), 3);

  // A start at 0 and a reading at the most negative count still fit in 32 signed bits.
  clock.SetTickCount(0);
  t->Reset();
  clock.SetTickCount(0x80000000u);
  EXPECT_EQ(t->Elapsed(), INT32_MIN);
  clock.SetTickCount(0x80000001u);
  EXPECT_EQ(t->Elapsed(), INT32_MIN + 1);
  clock.SetTickCount(1);
  t->Reset();
  clock.SetTickCount(0x80000000u);
  EXPECT_EQ(ErrorOfElapsed(t), kErrOverflow);
}

TEST_F(TimerTest, LateBound) {
  Object t = CreateObject("Borvane.Timer");
  clock.AdvanceMs(42);
  EXPECT_EQ(CallByName(t, "Elapsed", VbGet), Variant(int32_t{42}));
  CallByName(t, "Reset", VbMethod);
  EXPECT_EQ(*CallByName(t, "elapsed", VbGet).GetIf<int32_t>(), 0);
  EXPECT_EQ(*CallByName(t, "MaximumResolution", VbGet).GetIf<int32_t>(), 1000000);
}

}  // namespace
}  // namespace borvane
