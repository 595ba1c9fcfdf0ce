#include "borvane/platform/session/clock.h"

#include <time.h>

#include <cstdint>
#include <limits>

namespace borvane::platform {

namespace {

class MonotonicClock : public Clock {
 public:
  int64_t MonotonicNs() override {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return int64_t{ts.tv_sec} * 1'000'000'000 + ts.tv_nsec;
  }

  // The smallest period is the clock's resolution rounded up to whole milliseconds (1 on any
  // modern kernel). The largest is the longest span a signed 32-bit reading of the count can
  // tell, since a longer one can no longer be told apart from a wrapped one.
  bool GetDevCaps(TimerCaps& caps) override {
    timespec res{};
    if (clock_getres(CLOCK_MONOTONIC, &res) != 0) return false;
    int64_t res_ns = int64_t{res.tv_sec} * 1'000'000'000 + res.tv_nsec;
    int64_t min_ms = (res_ns + 999'999) / 1'000'000;
    caps.wPeriodMin = static_cast<uint32_t>(min_ms < 1 ? 1 : min_ms);
    caps.wPeriodMax = static_cast<uint32_t>(std::numeric_limits<int32_t>::max());
    return true;
  }
};

}  // namespace

Clock& Clock::Real() {
  static MonotonicClock clock;
  return clock;
}

}  // namespace borvane::platform
