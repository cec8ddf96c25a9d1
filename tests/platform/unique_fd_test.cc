#include "platform/unique_fd.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <utility>

namespace platform {

namespace {

bool IsOpen(int fd) { return ::fcntl(fd, F_GETFD) != -1; }

class UniqueFdTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(0, ::pipe(fds_.data())); }
  void TearDown() override {
    for (const int fd : fds_) (void)::close(fd);
  }
  std::array<int, 2> fds_ = {-1, -1};
};

TEST_F(UniqueFdTest, IsEmptyAtFirst) {
  const UniqueFd fd;
  EXPECT_EQ(-1, fd.Get());
  EXPECT_FALSE(fd);
}

TEST_F(UniqueFdTest, ClosesAtTheEndOfTheScope) {
  {
    const UniqueFd fd(fds_[0]);
    EXPECT_EQ(fds_[0], fd.Get());
    EXPECT_TRUE(fd);
    EXPECT_TRUE(IsOpen(fds_[0]));
  }
  EXPECT_FALSE(IsOpen(fds_[0]));
}

TEST_F(UniqueFdTest, OwnsDescriptorZero) {
  const UniqueFd fd(0);
  EXPECT_TRUE(fd);
  (void)const_cast<UniqueFd&>(fd).Release();
}

TEST_F(UniqueFdTest, MovesOwnership) {
  UniqueFd from(fds_[0]);
  const UniqueFd to(std::move(from));
  EXPECT_EQ(fds_[0], to.Get());
  EXPECT_FALSE(from);  // NOLINT(bugprone-use-after-move): what is left is the question
  EXPECT_TRUE(IsOpen(fds_[0]));
}

TEST_F(UniqueFdTest, ClosesWhatItHeldWhenAssigned) {
  UniqueFd from(fds_[0]);
  UniqueFd to(fds_[1]);
  to = std::move(from);
  EXPECT_EQ(fds_[0], to.Get());
  EXPECT_TRUE(IsOpen(fds_[0]));
  EXPECT_FALSE(IsOpen(fds_[1]));
}

TEST_F(UniqueFdTest, SurvivesAssignmentToItself) {
  UniqueFd fd(fds_[0]);
  UniqueFd& same = fd;
  fd = std::move(same);
  EXPECT_EQ(fds_[0], fd.Get());
  EXPECT_TRUE(IsOpen(fds_[0]));
}

TEST_F(UniqueFdTest, ReleasesWithoutClosing) {
  UniqueFd fd(fds_[0]);
  EXPECT_EQ(fds_[0], fd.Release());
  EXPECT_FALSE(fd);
  EXPECT_TRUE(IsOpen(fds_[0]));
}

TEST_F(UniqueFdTest, ResetClosesTheOldAndTakesTheNew) {
  UniqueFd fd(fds_[0]);
  fd.Reset(fds_[1]);
  EXPECT_EQ(fds_[1], fd.Get());
  EXPECT_FALSE(IsOpen(fds_[0]));
  fd.Reset();
  EXPECT_FALSE(fd);
  EXPECT_FALSE(IsOpen(fds_[1]));
}

TEST_F(UniqueFdTest, LeavesErrnoAsItWas) {
  UniqueFd fd(fds_[0]);
  ASSERT_EQ(0, ::close(fds_[0]));
  errno = E2BIG;
  fd.Reset();  // fails with EBADF inside
  EXPECT_EQ(E2BIG, errno);
}

}  // namespace

}  // namespace platform
