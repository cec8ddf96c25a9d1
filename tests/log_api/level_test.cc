#include "log/api/level.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <type_traits>

namespace {

static_assert(std::is_same_v<dunmar::LogLevel, std::int32_t>);

constexpr dunmar::LogLevel kLowest = std::numeric_limits<std::int32_t>::min();
constexpr dunmar::LogLevel kHighest = std::numeric_limits<std::int32_t>::max();

TEST(LogLevel, HasFixedNumbers) {
  EXPECT_EQ(dunmar::kTrace, 10);
  EXPECT_EQ(dunmar::kDebug, 20);
  EXPECT_EQ(dunmar::kInfo, 30);
  EXPECT_EQ(dunmar::kWarn, 40);
  EXPECT_EQ(dunmar::kError, 50);
  EXPECT_EQ(dunmar::kFatal, 60);
  EXPECT_EQ(dunmar::kNone, 70);
}

TEST(GetLevelName, NamesTheLevels) {
  const struct {
    dunmar::LogLevel level;
    const char* name;
  } rows[] = {
      {10, "TRACE"}, {20, "DEBUG"}, {30, "INFO"}, {40, "WARN"},
      {50, "ERROR"}, {60, "FATAL"}, {70, "NONE"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.level);
    EXPECT_STREQ(dunmar::GetLevelName(row.level), row.name);
  }
}

TEST(GetLevelName, CallsEveryOtherNumberAll) {
  for (const dunmar::LogLevel level :
       {0, 1, 9, 11, 15, 35, 69, 71, 80, 99, -1, -10, -70, 256 + 30, kLowest, kHighest}) {
    SCOPED_TRACE(level);
    EXPECT_STREQ(dunmar::GetLevelName(level), "ALL");
  }
}

TEST(IsLevelWritten, ComparesLevelAndThresholdAsSignedNumbers) {
  const struct {
    dunmar::LogLevel threshold;
    dunmar::LogLevel level;
    bool written;
  } rows[] = {
      {30, 10, false},
      {30, 20, false},
      {30, 29, false},
      {30, 30, true},
      {30, 35, true},
      {30, 40, true},
      {30, 50, true},
      {30, 60, true},
      {30, 70, true},
      {30, 0, false},
      {30, -1, false},
      {70, 10, false},
      {70, 20, false},
      {70, 30, false},
      {70, 40, false},
      {70, 50, false},
      {70, 60, false},
      {70, 69, false},
      {70, 70, true},
      {70, 71, true},
      {0, 0, true},
      {0, 10, true},
      {0, 60, true},
      {0, -1, false},
      {-1, -1, true},
      {-1, 0, true},
      {-1, 10, true},
      {-1, 60, true},
      {kLowest, kLowest, true},
      {kLowest, kHighest, true},
      {kHighest, kLowest, false},
      {kHighest, kHighest, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "threshold " << row.threshold << ", level " << row.level);
    EXPECT_EQ(dunmar::IsLevelWritten(row.level, row.threshold), row.written);
  }
}

}  // namespace
