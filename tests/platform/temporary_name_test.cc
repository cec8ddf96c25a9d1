#include "platform/temporary_name.h"

#include <gtest/gtest.h>
#include <string>

namespace platform {

namespace {

TEST(TemporaryName, HasThePrefixAndIsNeverTheSame) {
  std::string first;
  std::string second;
  EXPECT_TRUE(MakeTemporaryName(".prefix-", &first));
  EXPECT_TRUE(MakeTemporaryName(".prefix-", &second));
  EXPECT_TRUE(first.starts_with(".prefix-"));
  EXPECT_NE(first, second);
  EXPECT_TRUE(IsTemporaryName(".prefix-", first));
  EXPECT_FALSE(IsTemporaryName(".other-", first));
}

TEST(TemporaryName, IsThePrefixAndSixteenDigitsExactly) {
  EXPECT_TRUE(IsTemporaryName(".a-", ".a-0123456789abcdef"));
  EXPECT_TRUE(IsTemporaryName("", "0123456789abcdef"));
  for (const char* name :
       {"", ".a-", ".a-0123456789abcde", ".a-0123456789abcdef0", ".a-0123456789abcdeF",
        ".a-0123456789abcdeg", ".a-0123456789abcde ", "xa-0123456789abcdef", "0123456789abcdef"}) {
    SCOPED_TRACE(name);
    EXPECT_FALSE(IsTemporaryName(".a-", name));
  }
}

}  // namespace

}  // namespace platform
