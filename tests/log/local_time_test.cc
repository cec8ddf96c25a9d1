#include "log/local_time.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <limits>
#include <string>

#include "tests/support/fake_host.h"
#include "tests/support/scoped_time_zone.h"

namespace {

constexpr std::int64_t kEarliest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kLatest = std::numeric_limits<std::int64_t>::max();

std::string Format(std::int64_t seconds, const char* format) {
  std::array<char, 64> buffer;
  buffer.fill('?');
  const std::size_t length = dunmar::FormatLocalTime(seconds, format, buffer.data(), buffer.size());
  EXPECT_EQ(buffer[length], '\0');
  return {buffer.data(), length};
}

TEST(ToLocalTime, FillsInTheFields) {
  const test::ScopedTimeZone zone("UTC0");
  std::tm local = {};
  ASSERT_TRUE(dunmar::ToLocalTime(1794810056, &local));
  EXPECT_EQ(local.tm_year, 126);
  EXPECT_EQ(local.tm_mon, 10);
  EXPECT_EQ(local.tm_mday, 16);
  EXPECT_EQ(local.tm_hour, 6);
  EXPECT_EQ(local.tm_min, 20);
  EXPECT_EQ(local.tm_sec, 56);
  EXPECT_EQ(local.tm_isdst, 0);
}

TEST(ToLocalTime, LeavesTheResultAloneWhereTheYearDoesNotFit) {
  for (const std::int64_t seconds : {kEarliest, kLatest}) {
    std::tm local = {};
    local.tm_year = 77;
    EXPECT_FALSE(dunmar::ToLocalTime(seconds, &local));
    EXPECT_EQ(local.tm_year, 77);
  }
}

TEST(FormatLocalTime, ConvertsByTheZone) {
  const test::ScopedTimeZone zone("UTC0");
  EXPECT_EQ(Format(1794810056, "%x %X"), "11/16/26 06:20:56");
  const test::ScopedTimeZone summerTimeZone(test::kCentralEurope);
  EXPECT_EQ(Format(1794810056, "%x %X"), "11/16/26 07:20:56");
  EXPECT_EQ(Format(1785738056, "%x %X"), "08/03/26 08:20:56");
}

TEST(FormatLocalTime, TakesTimesBeforeTheEpoch) {
  const test::ScopedTimeZone zone("UTC0");
  EXPECT_EQ(Format(-1, "%Y-%m-%d %H-%M-%S"), "1969-12-31 23-59-59");
}

TEST(FormatLocalTime, GivesAnEmptyTextForATimeThatCannotBeConverted) {
  EXPECT_EQ(Format(kEarliest, "%x %X"), "");
  EXPECT_EQ(Format(kLatest, "%x %X"), "");
}

TEST(FormatLocalTime, GivesAnEmptyTextWhereItDoesNotFit) {
  const test::ScopedTimeZone zone("UTC0");
  std::array<char, 8> buffer = {'?', '?', '?', '?', '?', '?', '?', '?'};
  EXPECT_EQ(dunmar::FormatLocalTime(0, "%H-%M-%S", buffer.data(), 8), 0U);  // 8 bytes and a NUL
  EXPECT_EQ(buffer[0], '\0');
  EXPECT_EQ(dunmar::FormatLocalTime(0, "%M-%S", buffer.data(), 6), 5U);
  EXPECT_STREQ(buffer.data(), "00-00");
}

TEST(FormatLocalTime, TouchesNothingOfABufferWithoutRoom) {
  char byte = '?';
  EXPECT_EQ(dunmar::FormatLocalTime(0, "%Y", &byte, 0), 0U);
  EXPECT_EQ(byte, '?');
}

TEST(RefreshTimeZone, TakesNoticeOfAChange) {
  const test::ScopedTimeZone zone("UTC0");
  ASSERT_EQ(Format(0, "%H"), "00");
  ASSERT_EQ(setenv("TZ", "UTC-5", 1), 0);
  dunmar::RefreshTimeZone();
  EXPECT_EQ(Format(0, "%H"), "05");
}

// 2026-11-16 06:20:56 UTC.
struct Machine {
  test::FakeHost host;
  Machine() { host.clock.now = {.seconds = 1794810056, .microseconds = 999999}; }
};

TEST(GetDateTimeText, IsTheLocalDateAndTimeOfNow) {
  const Machine machine;
  const test::ScopedTimeZone zone("UTC0");
  EXPECT_EQ(dunmar::GetDateTimeText(), "2026-11-16 06-20-56");
  const test::ScopedTimeZone summerTimeZone(test::kCentralEurope);
  EXPECT_EQ(dunmar::GetDateTimeText(), "2026-11-16 07-20-56");
}

TEST(GetDateTimeText, IsEmptyForATimeThatCannotBeConverted) {
  Machine machine;
  machine.host.clock.now.seconds = kLatest;
  EXPECT_EQ(dunmar::GetDateTimeText(), "");
}

TEST(GetDateText, StepsByDays) {
  const Machine machine;
  const test::ScopedTimeZone zone("UTC0");
  EXPECT_EQ(dunmar::GetDateText(0), "2026-11-16");
  EXPECT_EQ(dunmar::GetDateText(-1), "2026-11-15");
  EXPECT_EQ(dunmar::GetDateText(-3), "2026-11-13");
  EXPECT_EQ(dunmar::GetDateText(-16), "2026-10-31");
  EXPECT_EQ(dunmar::GetDateText(1), "2026-11-17");
  EXPECT_EQ(dunmar::GetDateText(46), "2027-01-01");
}

TEST(GetDateText, IsOfTheLocalDay) {
  Machine machine;
  machine.host.clock.now = {.seconds = 1794871800, .microseconds = 0};  // 23:30 UTC
  const test::ScopedTimeZone zone("UTC0");
  EXPECT_EQ(dunmar::GetDateText(0), "2026-11-16");
  const test::ScopedTimeZone summerTimeZone(test::kCentralEurope);
  EXPECT_EQ(dunmar::GetDateText(0), "2026-11-17");
}

// On 25 October 2026 the clock goes back at 3:00 and the day has 25 hours.
TEST(GetDateText, StepsOverALongDayBy24Hours) {
  Machine machine;
  const test::ScopedTimeZone summerTimeZone(test::kCentralEurope);
  machine.host.clock.now = {.seconds = 1792967400, .microseconds = 0};
  EXPECT_EQ(dunmar::GetDateTimeText(), "2026-10-25 23-30-00");
  EXPECT_EQ(dunmar::GetDateText(-1), "2026-10-25");
}

// On 29 March 2026 the clock goes forward at 2:00 and the day has 23 hours.
TEST(GetDateText, StepsOverAShortDayBy24Hours) {
  Machine machine;
  const test::ScopedTimeZone summerTimeZone(test::kCentralEurope);
  machine.host.clock.now = {.seconds = 1774823400, .microseconds = 0};
  EXPECT_EQ(dunmar::GetDateTimeText(), "2026-03-30 00-30-00");
  EXPECT_EQ(dunmar::GetDateText(-1), "2026-03-28");
}

TEST(GetDateText, NeverOverflows) {
  Machine machine;
  for (const std::int64_t seconds : {kEarliest, kLatest}) {
    machine.host.clock.now.seconds = seconds;
    for (const int days :
         {std::numeric_limits<int>::min(), -1, 0, 1, std::numeric_limits<int>::max()}) {
      EXPECT_EQ(dunmar::GetDateText(days), "");
    }
  }
}

}  // namespace
