#include "platform/mount_point.h"

#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "tests/platform/posix/deny_system_calls.h"
#include "tests/support/files.h"
#include "tests/support/mount_memory.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace platform {

namespace {

TEST(PosixGetMountPoint, IsABeginningOfThePath) {
  const test::ScopedTempDir dir;
  std::string mountPoint;
  ASSERT_EQ(0, GetMountPoint(dir.Path(), &mountPoint));
  EXPECT_TRUE(dir.Path().starts_with(mountPoint)) << mountPoint;
}

class PosixGetMountPointTest : public testing::Test {
 protected:
  void SetUp() override {
    if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
    test::PutFile(dir_.Join("plain/sub/file"), "x");
    test::MakeDirs(dir_.Join("bind"));
    test::MakeDirs(dir_.Join("a b\\\t\nc"));
    test::MakeDirs(dir_.Join("memory"));
    test::MakeLink(dir_.Join("link"), "memory/sub");
    test::PutFile(dir_.Join("fileMount"), "");
  }

  [[nodiscard]] static std::string MountPoint(const std::string& path) {
    std::string mountPoint = "failed";
    (void)GetMountPoint(path, &mountPoint);
    return mountPoint;
  }

  // The root is a mount of its own, as that of a machine is.
  void RunWithMounts(const std::function<void()>& body, bool mountProc) const {
    test::RunInRoot(dir_.Path(), body, {.mountProc = mountProc, .beforeChangeRoot = [&] {
                                          const std::string root = dir_.Path();
                                          Mount(root, "");
                                          Mount(dir_.Join("plain"), "bind");
                                          Mount(dir_.Join("plain/sub/file"), "fileMount");
                                          Mount("", "a b\\\t\nc");
                                          Mount("", "memory");
                                          test::MakeDirs(dir_.Join("memory/sub/mount"));
                                          Mount("", "memory/sub/mount");
                                        }});
  }

  // A memory file system, or what is at `source` a second time.
  void Mount(const std::string& source, const std::string& target) const {
    const int result =
        source.empty()
            ? ::mount("none", dir_.Join(target).c_str(), "tmpfs", 0, nullptr)
            : ::mount(source.c_str(), dir_.Join(target).c_str(), nullptr, MS_BIND, nullptr);
    ASSERT_EQ(0, result) << target;
  }

  test::ScopedTempDir dir_;
};

TEST_F(PosixGetMountPointTest, TellsTheMountThatHoldsTheItem) {
  RunWithMounts(
      [] {
        const struct {
          const char* path;
          const char* expected;
        } rows[] = {
            {"/", "/"},
            {"/plain/sub", "/"},
            {"/plain/sub/file", "/"},
            {"/bind", "/bind"},
            {"/bind/", "/bind"},
            {"/bind/sub/file", "/bind"},
            {"/bind/..", "/"},
            {"/fileMount", "/fileMount"},
            {"/memory", "/memory"},
            {"/memory/sub", "/memory"},
            {"/memory/sub/mount", "/memory/sub/mount"},
            {"/link", "/memory"},
            {"/link/mount", "/memory/sub/mount"},
            {"/a b\\\t\nc", "/a b\\\t\nc"},
            {"/proc/self/mountinfo", "/proc"},
            {"bind", "/bind"},
        };
        for (const auto& row : rows) {
          SCOPED_TRACE(row.path);
          EXPECT_EQ(row.expected, MountPoint(row.path));
        }
      },
      /*mountProc=*/true);
}

TEST_F(PosixGetMountPointTest, TellsTheUppermostOfStackedMounts) {
  RunWithMounts(
      [] {
        ASSERT_EQ(0, ::mount("none", "/memory", "tmpfs", 0, nullptr));
        EXPECT_EQ("/memory", MountPoint("/memory"));
        ASSERT_EQ(0, ::mount("none", "/bind", "tmpfs", 0, nullptr));
        EXPECT_EQ("/bind", MountPoint("/bind"));
      },
      /*mountProc=*/true);
}

TEST_F(PosixGetMountPointTest, TakesTheTopmostAncestorOnTheDeviceWithoutProc) {
  RunWithMounts(
      [] {
        const struct {
          const char* path;
          const char* expected;
        } rows[] = {
            {"/", "/"},
            {"/plain/sub/file", "/"},
            {"/bind/sub", "/"},  // the same device as the top
            {"/memory", "/memory"},
            {"/memory/sub", "/memory"},
            {"/memory/sub/mount/", "/memory/sub/mount"},
            {"/link", "/memory"},
            {"link/.", "/memory"},
        };
        for (const auto& row : rows) {
          SCOPED_TRACE(row.path);
          EXPECT_EQ(row.expected, MountPoint(row.path));
        }
      },
      /*mountProc=*/false);
}

TEST_F(PosixGetMountPointTest, TakesTheTopmostAncestorWhereTheMountCannotBeSeen) {
  RunWithMounts(
      [] {
        // Into a folder in the middle of a mount, whose root is out of sight then.
        test::MakeDirs("/plain/proc");
        ASSERT_EQ(0, ::mount("proc", "/plain/proc", "proc", 0, nullptr));
        ASSERT_EQ(0, ::chroot("/plain"));
        ASSERT_EQ(0, ::chdir("/"));
        EXPECT_EQ("/", MountPoint("/"));
        EXPECT_EQ("/", MountPoint("/sub/file"));
        EXPECT_EQ("/proc", MountPoint("/proc/self"));
      },
      /*mountProc=*/true);
}

// The kernel tells the device of a layer for a file, but one of its own for every folder.
TEST(PosixGetMountPoint, TakesNoFileOfAnOverlayForAMountWithoutProc) {
  if (const std::string why = test::WhyNoOverlays(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir dir;
  test::MakeDirs(dir.Join("all"));
  test::RunInRoot(
      dir.Path(),
      [] {
        for (const std::string path : {"/all/lower", "/all/upper", "/all/sub/lower", "/all/sub"}) {
          SCOPED_TRACE(path);
          std::string mountPoint;
          EXPECT_EQ(0, GetMountPoint(path, &mountPoint));
          EXPECT_EQ("/all", mountPoint);
        }
      },
      {.beforeChangeRoot = [&dir] {
        test::MountMemory(dir.Join("one"));
        test::MountMemory(dir.Join("other"));
        test::PutFile(dir.Join("one/lower"), "");
        test::PutFile(dir.Join("one/sub/lower"), "");
        test::PutFile(dir.Join("other/layer/upper"), "");
        test::MakeDirs(dir.Join("other/work"));
        const std::string options = "xino=off,lowerdir=" + dir.Join("one") +
                                    ",upperdir=" + dir.Join("other/layer") +
                                    ",workdir=" + dir.Join("other/work");
        ASSERT_EQ(0, ::mount("none", dir.Join("all").c_str(), "overlay", 0, options.c_str()));
      }});
}

TEST_F(PosixGetMountPointTest, WorksWhereTheKernelDoesNotTellMounts) {
  RunWithMounts(
      [] {
        test::DenySystemCalls({SYS_statx, SYS_name_to_handle_at});
        EXPECT_EQ("/memory", MountPoint("/memory/sub"));
        EXPECT_EQ("/", MountPoint("/plain"));
      },
      /*mountProc=*/true);
}

}  // namespace

}  // namespace platform
