#include "tests/support/shape.h"

#include <gtest/gtest.h>

namespace {

TEST(HasShape, TakesAnyDigitForANine) {
  EXPECT_TRUE(test::HasShape("11/16/26 06:20:56:007", "99/99/99 99:99:99:999"));
  EXPECT_TRUE(test::HasShape("", ""));
}

TEST(HasShape, TakesNothingElse) {
  for (const char* text : {"", "1", "1-", "1-2-", "a-2", "1 2", "/-2", ":-2", "-12"}) {
    EXPECT_FALSE(test::HasShape(text, "9-9")) << text;
  }
}

}  // namespace
