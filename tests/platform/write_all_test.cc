#include "platform/write_all.h"

#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/types.h>
#include <unistd.h>

#include "platform/system_calls_for_testing.h"
#include "platform/unique_fd.h"
#include "tests/support/files.h"
#include "tests/support/scoped_temp_dir.h"

namespace platform {

namespace {

int calls = 0;

class WriteAllTest : public testing::Test {
 protected:
  void SetUp() override {
    calls = 0;
    fd_.Reset(::open(dir_.Join("f").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    ASSERT_TRUE(fd_);
  }

  const test::ScopedTempDir dir_;
  UniqueFd fd_;
  ScopedSystemCalls system_;
};

TEST_F(WriteAllTest, WritesInOneCall) {
  system_->write = [](int fd, const void* bytes, std::size_t count) {
    ++calls;
    return ::write(fd, bytes, count);
  };
  EXPECT_EQ(WriteAll(fd_.Get(), "abc"), 0);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(test::GetFile(dir_.Join("f")), "abc");
}

TEST_F(WriteAllTest, WritesNothingInNoCall) {
  system_->write = [](int, const void*, std::size_t) -> ssize_t { return ++calls; };
  EXPECT_EQ(WriteAll(fd_.Get(), ""), 0);
  EXPECT_EQ(calls, 0);
}

TEST_F(WriteAllTest, GoesOnAfterAPartAndAfterASignal) {
  system_->write = [](int fd, const void* bytes, std::size_t) -> ssize_t {
    if (++calls % 2 == 1) return ::write(fd, bytes, 1);
    errno = EINTR;
    return -1;
  };
  EXPECT_EQ(WriteAll(fd_.Get(), "abc"), 0);
  EXPECT_EQ(calls, 5);
  EXPECT_EQ(test::GetFile(dir_.Join("f")), "abc");
}

TEST_F(WriteAllTest, ReportsTheErrorAfterAPart) {
  system_->write = [](int fd, const void* bytes, std::size_t) -> ssize_t {
    if (++calls == 1) return ::write(fd, bytes, 1);
    errno = ENOSPC;
    return -1;
  };
  EXPECT_EQ(WriteAll(fd_.Get(), "abc"), ENOSPC);
  EXPECT_EQ(test::GetFile(dir_.Join("f")), "a");
}

TEST_F(WriteAllTest, FailsWhereTheSystemTakesNothing) {
  system_->write = [](int, const void*, std::size_t) -> ssize_t { return 0; };
  EXPECT_EQ(WriteAll(fd_.Get(), "abc"), EIO);
}

}  // namespace

}  // namespace platform
