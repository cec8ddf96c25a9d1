#include "platform/clock.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <sys/time.h>

namespace platform {

namespace {

std::int64_t Microseconds(const TimeOfDay& time) {
  return time.seconds * 1000000 + time.microseconds;
}

std::int64_t Ask() {
  timeval now = {};
  EXPECT_EQ(0, ::gettimeofday(&now, nullptr));
  return std::int64_t{now.tv_sec} * 1000000 + now.tv_usec;
}

TEST(TimeOfDay, BeginsWith1970) {
  const TimeOfDay time;
  EXPECT_EQ(0, time.seconds);
  EXPECT_EQ(0, time.microseconds);
}

TEST(SystemClock, TellsTheTimeOfDay) {
  const std::int64_t before = Ask();
  const TimeOfDay now = SystemClock().Now();
  const std::int64_t after = Ask();
  EXPECT_LE(before, Microseconds(now));
  EXPECT_LE(Microseconds(now), after);
}

TEST(SystemClock, CountsLessThanAMillionMicroseconds) {
  for (int i = 0; i < 100000; ++i) {
    const std::int32_t microseconds = SystemClock().Now().microseconds;
    ASSERT_LE(0, microseconds);
    ASSERT_LT(microseconds, 1000000);
  }
}

TEST(SystemClock, IsOne) { EXPECT_EQ(&SystemClock(), &SystemClock()); }

}  // namespace

}  // namespace platform
