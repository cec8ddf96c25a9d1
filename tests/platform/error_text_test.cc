#include "platform/error_text.h"

#include <cerrno>
#include <gtest/gtest.h>

namespace platform {

namespace {

TEST(DescribeError, GivesTheSystemsTextAndThePath) {
  EXPECT_EQ("No such file or directory: /a/b", DescribeError(ENOENT, "/a/b"));
  EXPECT_EQ("Permission denied: x", DescribeError(EACCES, "x"));
}

TEST(DescribeError, SaysSomethingOfAnUnknownNumberToo) {
  const std::string text = DescribeError(123456, "/a/b");
  EXPECT_LT(std::string(": /a/b").size(), text.size()) << text;
}

}  // namespace

}  // namespace platform
