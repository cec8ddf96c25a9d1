#include "fileutils/os_version.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>

#include "tests/support/fake_host.h"

namespace {

TEST(GetOSVersion, FillsInTheThreeNumbers) {
  test::FakeHost host;
  host.info.version = {.major = 14, .minor = 5, .patch = 1};
  unsigned int major = 99;
  unsigned int minor = 99;
  unsigned int patch = 99;
  EXPECT_TRUE(fileutils::GetOSVersion(major, minor, patch));
  EXPECT_EQ(major, 14U);
  EXPECT_EQ(minor, 5U);
  EXPECT_EQ(patch, 1U);
}

TEST(GetOSVersion, SucceedsWithZerosWhereTheSystemDoesNotTell) {
  const test::FakeHost host;
  unsigned int major = 99;
  unsigned int minor = 99;
  unsigned int patch = 99;
  EXPECT_TRUE(fileutils::GetOSVersion(major, minor, patch));
  EXPECT_EQ(major, 0U);
  EXPECT_EQ(minor, 0U);
  EXPECT_EQ(patch, 0U);
}

TEST(GetOSVersion, TakesTheNearestNumberWhereOneDoesNotFit) {
  const struct {
    std::int64_t number;
    unsigned int expected;
  } rows[] = {
      {-1, 0U},
      {std::numeric_limits<std::int64_t>::min(), 0U},
      {4294967295, 4294967295U},
      {4294967296, 4294967295U},
      {std::numeric_limits<std::int64_t>::max(), 4294967295U},
  };
  test::FakeHost host;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.number);
    host.info.version = {.major = row.number, .minor = row.number, .patch = row.number};
    unsigned int major = 99;
    unsigned int minor = 99;
    unsigned int patch = 99;
    EXPECT_TRUE(fileutils::GetOSVersion(major, minor, patch));
    EXPECT_EQ(major, row.expected);
    EXPECT_EQ(minor, row.expected);
    EXPECT_EQ(patch, row.expected);
  }
}

}  // namespace
