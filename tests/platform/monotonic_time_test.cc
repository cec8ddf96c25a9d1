#include "platform/monotonic_time.h"

#include <chrono>
#include <ctime>
#include <gtest/gtest.h>

#include "platform/system_calls_for_testing.h"

namespace platform {

namespace {

using std::chrono::nanoseconds;
using std::chrono::seconds;

nanoseconds Ask() {
  timespec now = {};
  EXPECT_EQ(0, ::clock_gettime(CLOCK_MONOTONIC, &now));
  return seconds(now.tv_sec) + nanoseconds(now.tv_nsec);
}

TEST(MonotonicTime, IsThatOfTheClockThatNobodySets) {
  const nanoseconds before = Ask();
  const nanoseconds now = MonotonicTime();
  const nanoseconds after = Ask();
  EXPECT_LE(before, now);
  EXPECT_LE(now, after);
}

TEST(MonotonicTime, HasTheWholeAnswer) {
  ScopedSystemCalls calls;
  calls->clockGettime = [](clockid_t, timespec* time) {
    *time = {.tv_sec = 5, .tv_nsec = 7};
    return 0;
  };
  EXPECT_EQ(nanoseconds(5000000007), MonotonicTime());
}

TEST(ToTimespec, DividesIntoSecondsAndTheRest) {
  const struct {
    nanoseconds time;
    time_t seconds;
    long rest;
  } rows[] = {
      {nanoseconds(0), 0, 0},
      {nanoseconds(999999999), 0, 999999999},
      {nanoseconds(1000000000), 1, 0},
      {seconds(60) + nanoseconds(1), 60, 1},
      {nanoseconds::max(), 9223372036, 854775807},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.time.count());
    const timespec time = ToTimespec(row.time);
    EXPECT_EQ(row.seconds, time.tv_sec);
    EXPECT_EQ(row.rest, time.tv_nsec);
  }
}

}  // namespace

}  // namespace platform
