#include "platform/thread_id.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "tests/platform/posix/deny_system_calls.h"
#include "tests/support/run_in_root.h"

namespace platform {

namespace {

TEST(PosixCurrentThreadId, IsThatOfTheProcessInItsFirstThread) {
  EXPECT_EQ(::getpid(), CurrentThreadId());
  test::RunInChild([] { EXPECT_EQ(::getpid(), CurrentThreadId()); });
}

TEST(PosixCurrentThreadId, AsksTheKernelOnce) {
  test::RunInChild([] {
    const std::int32_t own = CurrentThreadId();
    test::DenySystemCalls({SYS_gettid});
    ASSERT_EQ(-1, ::syscall(SYS_gettid));
    EXPECT_EQ(own, CurrentThreadId());
  });
}

}  // namespace

}  // namespace platform
