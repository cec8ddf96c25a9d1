#include "tests/support/scoped_time_zone.h"

#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>

#include "tests/support/run_in_root.h"

namespace {

int HourOf(std::time_t time) {
  std::tm local = {};
  EXPECT_NE(localtime_r(&time, &local), nullptr);
  return local.tm_hour;
}

TEST(ScopedTimeZone, HoldsForItsScope) {
  test::RunInChild([] {
    ASSERT_EQ(setenv("TZ", "UTC-3", 1), 0);
    tzset();
    {
      const test::ScopedTimeZone zone(test::kCentralEurope);
      EXPECT_STREQ(std::getenv("TZ"), "CET-1CEST,M3.5.0,M10.5.0/3");
      EXPECT_EQ(HourOf(1794810056), 7);  // 16 November 2026, 6:20 UTC
      EXPECT_EQ(HourOf(1785738056), 8);  // 3 August 2026, 6:20 UTC
    }
    EXPECT_STREQ(std::getenv("TZ"), "UTC-3");
    EXPECT_EQ(HourOf(0), 3);
  });
}

TEST(ScopedTimeZone, LeavesNoVariableWhereThereWasNone) {
  test::RunInChild([] {
    ASSERT_EQ(unsetenv("TZ"), 0);
    { const test::ScopedTimeZone zone("UTC0"); }
    EXPECT_EQ(std::getenv("TZ"), nullptr);
  });
}

}  // namespace
