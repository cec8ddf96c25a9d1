#include "platform/interrupted_call.h"

#include <cerrno>
#include <gtest/gtest.h>

namespace platform {

namespace {

TEST(RepeatInterrupted, CallsAgainUntilNoSignalInterrupts) {
  int calls = 0;
  const int result = RepeatInterrupted([&] {
    errno = EINTR;
    return ++calls < 3 ? -1 : 7;
  });
  EXPECT_EQ(7, result);
  EXPECT_EQ(3, calls);
}

TEST(RepeatInterrupted, GivesUpOnAnyOtherError) {
  int calls = 0;
  const int result = RepeatInterrupted([&] {
    ++calls;
    errno = EIO;
    return -1;
  });
  EXPECT_EQ(-1, result);
  EXPECT_EQ(EIO, errno);
  EXPECT_EQ(1, calls);
}

}  // namespace

}  // namespace platform
