#include "platform/posix/folder_descent.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/magic.h>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/vfs.h>
#include <unistd.h>

#include "tests/platform/posix/deny_system_calls.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace platform {

namespace {

UniqueFd OpenHandle(const std::string& path) {
  return UniqueFd(::open(path.c_str(), O_PATH | O_CLOEXEC));
}

class FolderDescentTest : public testing::Test {
 protected:
  [[nodiscard]] std::string At(const std::string& relative) const { return dir_.Join(relative); }

  // Whether the walk is in the folder of this path.
  [[nodiscard]] bool IsIn(const std::string& path) const {
    struct stat here = {};
    struct stat there = {};
    return ::fstat(descent_.Fd(), &here) == 0 && ::stat(path.c_str(), &there) == 0 &&
           here.st_dev == there.st_dev && here.st_ino == there.st_ino;
  }

  void Enter(const char* name) {
    DirectoryStream child;
    ASSERT_EQ(0, descent_.OpenChild(name, &child));
    ASSERT_EQ(0, descent_.Enter(child));
  }

  test::ScopedTempDir dir_;
  FolderDescent descent_;
};

TEST_F(FolderDescentTest, GoesInAndOut) {
  test::MakeDirs(At("a/b/c"));
  test::MakeDirs(At("a/d"));
  ASSERT_EQ(0, descent_.Begin(OpenHandle(At("a"))));
  EXPECT_TRUE(IsIn(At("a")));
  Enter("b");
  EXPECT_TRUE(IsIn(At("a/b")));
  Enter("c");
  EXPECT_TRUE(IsIn(At("a/b/c")));
  EXPECT_EQ(0, descent_.Leave());
  EXPECT_TRUE(IsIn(At("a/b")));
  EXPECT_EQ(0, descent_.Leave());
  EXPECT_TRUE(IsIn(At("a")));
  Enter("d");
  EXPECT_TRUE(IsIn(At("a/d")));
}

TEST_F(FolderDescentTest, OpensNothingButRealFoldersOfTheSameMount) {
  test::PutFile(At("file"), "x");
  test::MakeDirs(At("folder"));
  test::MakeLink(At("link"), "folder");
  ASSERT_EQ(0, descent_.Begin(OpenHandle(dir_.Path())));
  DirectoryStream child;
  EXPECT_EQ(ENOENT, descent_.OpenChild("missing", &child));
  EXPECT_EQ(ENOTDIR, descent_.OpenChild("file", &child));
  const int error = descent_.OpenChild("link", &child);
  EXPECT_TRUE(error == ELOOP || error == ENOTDIR) << error;
  EXPECT_EQ(0, descent_.OpenChild("folder", &child));
  EXPECT_TRUE(IsIn(dir_.Path()));
}

TEST_F(FolderDescentTest, OpensNoFolderOfAnotherMount) {
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  test::MakeDirs(At("mount/below"));
  test::MakeDirs(At("bind"));
  test::MakeDirs(At("plain"));
  test::RunInRoot(
      dir_.Path(),
      [&] {
        ASSERT_EQ(0, descent_.Begin(OpenHandle("/")));
        DirectoryStream child;
        EXPECT_EQ(0, descent_.OpenChild("plain", &child));
        const int before = child.Fd();
        EXPECT_EQ(EBUSY, descent_.OpenChild("mount", &child));
        EXPECT_EQ(EBUSY, descent_.OpenChild("bind", &child));
        EXPECT_EQ(before, child.Fd());
        ASSERT_EQ(0, descent_.Begin(OpenHandle("/mount")));
        EXPECT_EQ(0, descent_.OpenChild("new", &child));
      },
      {.beforeChangeRoot = [&] {
        ASSERT_EQ(0, ::mount("none", At("mount").c_str(), "tmpfs", 0, nullptr));
        ASSERT_EQ(0, ::mount(At("plain").c_str(), At("bind").c_str(), nullptr, MS_BIND, nullptr));
        test::MakeDirs(At("mount/new"));
      }});
}

TEST_F(FolderDescentTest, DoesNotComeBackToAnotherFolder) {
  test::MakeDirs(At("a/b/c"));
  test::MakeDirs(At("elsewhere"));
  ASSERT_EQ(0, descent_.Begin(OpenHandle(At("a"))));
  Enter("b");
  Enter("c");
  ASSERT_EQ(0, ::rename(At("a/b/c").c_str(), At("elsewhere/c").c_str()));
  EXPECT_EQ(ESTALE, descent_.Leave());
  EXPECT_TRUE(IsIn(At("elsewhere/c")));
}

// On an overlay file system folders can get another time of birth, so there none is looked at.
bool IsOverlay(const std::string& path) {
  struct statfs fileSystem = {};
  EXPECT_EQ(0, ::statfs(path.c_str(), &fileSystem));
  return fileSystem.f_type == OVERLAYFS_SUPER_MAGIC;
}

TEST_F(FolderDescentTest, DoesNotComeBackToAFolderThatGotTheNumberOfOneThatIsGone) {
  if (IsOverlay(dir_.Path())) GTEST_SKIP() << "no lasting times of birth on an overlay file system";
  test::MakeDirs(At("a/b/c"));
  struct stat gone = {};
  ASSERT_EQ(0, ::stat(At("a/b").c_str(), &gone));
  struct statx birth = {};
  if (::statx(AT_FDCWD, At("a/b").c_str(), 0, STATX_BTIME, &birth) != 0 ||
      (birth.stx_mask & STATX_BTIME) == 0) {
    GTEST_SKIP() << "no times of birth on this file system";
  }
  ASSERT_EQ(0, descent_.Begin(OpenHandle(At("a"))));
  Enter("b");
  Enter("c");
  ASSERT_EQ(0, ::rename(At("a/b/c").c_str(), At("c").c_str()));
  ASSERT_EQ(0, ::rmdir(At("a/b").c_str()));
  struct stat next = {};
  std::string twin;
  for (int i = 0; i < 64 && next.st_ino != gone.st_ino; ++i) {
    twin = At("twin" + std::to_string(i));
    ASSERT_EQ(0, ::mkdir(twin.c_str(), 0755));
    ASSERT_EQ(0, ::stat(twin.c_str(), &next));
  }
  if (next.st_ino != gone.st_ino) GTEST_SKIP() << "this file system does not give numbers again";
  ASSERT_EQ(0, ::rename(At("c").c_str(), (twin + "/c").c_str()));
  EXPECT_EQ(ESTALE, descent_.Leave());
}

TEST_F(FolderDescentTest, ComesBackToAFolderThatWasMovedItself) {
  test::MakeDirs(At("a/b/c"));
  ASSERT_EQ(0, descent_.Begin(OpenHandle(At("a"))));
  Enter("b");
  Enter("c");
  ASSERT_EQ(0, ::rename(At("a/b").c_str(), At("moved").c_str()));
  EXPECT_EQ(0, descent_.Leave());
  EXPECT_TRUE(IsIn(At("moved")));
  EXPECT_EQ(ESTALE, descent_.Leave());
}

TEST_F(FolderDescentTest, EntersNoFolderThatItCouldNotLeave) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::MakeDirs(At("a"));
  test::SetMode(At("a"), 0744);
  test::RunInChild([&] {
    ASSERT_EQ(0, ::seteuid(1001));
    ASSERT_EQ(0, descent_.Begin(OpenHandle(dir_.Path())));
    DirectoryStream child;
    EXPECT_EQ(EACCES, descent_.OpenChild("a", &child));
    EXPECT_TRUE(IsIn(dir_.Path()));
  });
}

TEST_F(FolderDescentTest, DoesNotLeaveWithoutTheRightToSearch) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::MakeDirs(At("a"));
  test::RunInChild([&] {
    ASSERT_EQ(0, descent_.Begin(OpenHandle(dir_.Path())));
    Enter("a");
    test::SetMode(At("a"), 0744);
    ASSERT_EQ(0, ::seteuid(1001));
    EXPECT_EQ(EACCES, descent_.Leave());
    EXPECT_TRUE(IsIn(At("a")));
  });
}

TEST_F(FolderDescentTest, DoesNotGoOnWithoutKnowingTheMount) {
  EXPECT_EQ(EBADF, descent_.Begin(UniqueFd()));
  test::MakeDirs(At("a"));
  test::RunInChild([&] {
    ASSERT_EQ(0, descent_.Begin(OpenHandle(dir_.Path())));
    test::DenySystemCalls({SYS_statx, SYS_name_to_handle_at});
    DirectoryStream child;
    EXPECT_EQ(ENOSYS, descent_.OpenChild("a", &child));
    FolderDescent other;
    EXPECT_EQ(ENOSYS, other.Begin(OpenHandle(dir_.Path())));
  });
}

}  // namespace

}  // namespace platform
