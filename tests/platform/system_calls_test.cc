#include "platform/system_calls.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/system_calls_for_testing.h"
#include "platform/unique_fd.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace platform {

namespace {

class SystemCallsTest : public testing::Test {
 protected:
  void SetUp() override {
    folder_.Reset(::open(dir_.Path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_TRUE(folder_);
  }
  test::ScopedTempDir dir_;
  UniqueFd folder_;
};

TEST_F(SystemCallsTest, WriteSyncModeAndCloseAreTheSystemsOwn) {
  const int fd = ::openat(folder_.Get(), "f", O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_LE(0, fd);
  EXPECT_EQ(3, Calls().write(fd, "abcd", 3));
  EXPECT_EQ(0, Calls().fsync(fd));
  EXPECT_EQ(0, Calls().fchmod(fd, 0640));
  EXPECT_EQ(0, Calls().close(fd));
  EXPECT_EQ("abc", test::GetFile(dir_.Join("f")));
  EXPECT_EQ(static_cast<mode_t>(0640), test::GetMode(dir_.Join("f")));
  EXPECT_EQ(-1, Calls().write(fd, "d", 1));
  EXPECT_EQ(EBADF, errno);
  EXPECT_EQ(-1, Calls().fsync(fd));
  EXPECT_EQ(-1, Calls().fchmod(fd, 0600));
  EXPECT_EQ(-1, Calls().fchown(fd, 0, 0));
  EXPECT_EQ(-1, Calls().close(fd));
}

TEST_F(SystemCallsTest, FchownIsTheSystemsOwn) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::PutFile(dir_.Join("f"), "");
  const UniqueFd fd(::openat(folder_.Get(), "f", O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(0, Calls().fchown(fd.Get(), 1001, 1002));
  EXPECT_EQ(1001U, test::GetOwner(dir_.Join("f")));
  EXPECT_EQ(1002U, test::GetGroup(dir_.Join("f")));
}

TEST_F(SystemCallsTest, RenamingAndRemovalAreTheSystemsOwn) {
  test::PutFile(dir_.Join("a"), "x");
  test::MakeDirs(dir_.Join("sub"));
  EXPECT_EQ(0, Calls().renameat(folder_.Get(), "a", folder_.Get(), "b"));
  EXPECT_EQ("x", test::GetFile(dir_.Join("b")));
  EXPECT_FALSE(test::IsThere(dir_.Join("a")));
  EXPECT_EQ(0, Calls().unlinkat(folder_.Get(), "b", 0));
  EXPECT_FALSE(test::IsThere(dir_.Join("b")));
  EXPECT_EQ(0, Calls().remove(dir_.Join("sub").c_str()));
  EXPECT_FALSE(test::IsThere(dir_.Join("sub")));
  EXPECT_EQ(-1, Calls().remove(dir_.Join("sub").c_str()));
  EXPECT_EQ(ENOENT, errno);
}

TEST_F(SystemCallsTest, BasenameAndDirnameDropTrailingSlashes) {
  const struct {
    const char* path;
    const char* base;
    const char* folder;
  } rows[] = {
      {"/a/b", "b", "/a"}, {"/a/b/", "b", "/a"}, {"/a", "a", "/"}, {"a", "a", "."},
      {"a/", "a", "."},    {"/", "/", "/"},      {"", ".", "."},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    std::string forBase = row.path;
    std::string forFolder = row.path;
    EXPECT_STREQ(row.base, Calls().basename(forBase.data()));
    EXPECT_STREQ(row.folder, Calls().dirname(forFolder.data()));
  }
}

TEST(ScopedSystemCalls, ReplacesOneCallAndKeepsTheRest) {
  const auto realClose = Calls().close;
  {
    ScopedSystemCalls calls;
    EXPECT_FALSE(SystemCallsAreDefaultForTesting());
    calls->fsync = [](int) {
      errno = EIO;
      return -1;
    };
    EXPECT_EQ(-1, Calls().fsync(-1));
    EXPECT_EQ(EIO, errno);
    EXPECT_EQ(realClose, Calls().close);
  }
  EXPECT_TRUE(SystemCallsAreDefaultForTesting());
  EXPECT_EQ(-1, Calls().fsync(-1));
  EXPECT_EQ(EBADF, errno);
}

TEST(ScopedSystemCalls, Nests) {
  ScopedSystemCalls outer;
  outer->fsync = [](int) { return 1; };
  outer->fchmod = [](int, mode_t) { return 1; };
  {
    ScopedSystemCalls inner;
    inner->fsync = [](int) { return 2; };
    EXPECT_EQ(2, Calls().fsync(-1));
    EXPECT_EQ(1, Calls().fchmod(-1, 0));
  }
  EXPECT_EQ(1, Calls().fsync(-1));
  EXPECT_FALSE(SystemCallsAreDefaultForTesting());
}

}  // namespace

}  // namespace platform
