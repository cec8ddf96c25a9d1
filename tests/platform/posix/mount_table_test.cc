#include "platform/posix/mount_table.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/unique_fd.h"
#include "tests/platform/posix/deny_system_calls.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace {

// As a kernel before 5.8 does, which knows statx and not the mount.
bool isMountUntold = false;

}  // namespace

// In place of the C library's, for the whole test program.
extern "C" int statx(int folder, const char* __restrict path, int flags, unsigned int mask,
                     struct statx* __restrict status) noexcept {
  const long result = ::syscall(SYS_statx, folder, path, flags, mask, status);
  if (result == 0 && isMountUntold) {
    status->stx_mask &= ~static_cast<unsigned int>(STATX_MNT_ID);
    status->stx_mnt_id = 0;
  }
  return static_cast<int>(result);
}

namespace platform {

namespace {

// 0 where it cannot be told.
std::uint64_t MountIdOf(const std::string& path) {
  const UniqueFd item(::open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  std::uint64_t id = 0;
  EXPECT_EQ(0, GetMountId(item.Get(), &id)) << path;
  return id;
}

TEST(GetMountId, IsTheSameForItemsOfEveryKindInAFolder) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), "x");
  test::MakeDirs(dir.Join("folder"));
  test::MakeFifo(dir.Join("fifo"));
  test::MakeLink(dir.Join("link"), "missing");
  const std::uint64_t id = MountIdOf(dir.Path());
  EXPECT_NE(0U, id);
  for (const std::string name : {"file", "folder", "fifo", "link"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(id, MountIdOf(dir.Join(name)));
  }
}

TEST(GetMountId, FailsWithoutADescriptorAndLeavesTheResult) {
  std::uint64_t id = 42;
  EXPECT_EQ(EBADF, GetMountId(-1, &id));
  EXPECT_EQ(42U, id);
}

TEST(GetMountId, TellsMountsApartAlsoOnTheSameDevice) {
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("plain/file"), "x");
  test::MakeDirs(dir.Join("bind"));
  test::MakeDirs(dir.Join("memory"));
  test::PutFile(dir.Join("fileMount"), "");
  test::RunInRoot(dir.Path(),
                  [] {
                    const std::uint64_t id = MountIdOf("/");
                    EXPECT_EQ(id, MountIdOf("/plain"));
                    EXPECT_NE(id, MountIdOf("/bind"));
                    EXPECT_EQ(MountIdOf("/bind"), MountIdOf("/bind/file"));
                    EXPECT_NE(id, MountIdOf("/memory"));
                    EXPECT_NE(MountIdOf("/bind"), MountIdOf("/memory"));
                    EXPECT_NE(id, MountIdOf("/fileMount"));
                  },
                  {.beforeChangeRoot = [&] {
                    ASSERT_EQ(0, ::mount(dir.Join("plain").c_str(), dir.Join("bind").c_str(),
                                         nullptr, MS_BIND, nullptr));
                    ASSERT_EQ(0, ::mount("none", dir.Join("memory").c_str(), "tmpfs", 0, nullptr));
                    ASSERT_EQ(0, ::mount(dir.Join("plain/file").c_str(),
                                         dir.Join("fileMount").c_str(), nullptr, MS_BIND, nullptr));
                  }});
}

TEST(GetMountId, IsTheNumberThatTheMountTableHas) {
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir dir;
  test::MakeDirs(dir.Join("a b"));
  test::RunInRoot(dir.Path(),
                  [] {
                    std::string mountPoint;
                    EXPECT_TRUE(FindMountPoint(test::GetFile("/proc/self/mountinfo").value_or(""),
                                               MountIdOf("/a b"), &mountPoint));
                    EXPECT_EQ("/a b", mountPoint);
                  },
                  {.mountProc = true, .beforeChangeRoot = [&] {
                     ASSERT_EQ(0, ::mount("none", dir.Join("a b").c_str(), "tmpfs", 0, nullptr));
                   }});
}

// Why the file system there has no handles on files, or the kernel does not give them; empty where
// they can be had.
std::string WhyNoFileHandles(const std::string& path) {
  struct file_handle handle = {};
  int mountId = 0;
  if (::name_to_handle_at(AT_FDCWD, path.c_str(), &handle, &mountId, 0) == 0 ||
      errno == EOVERFLOW) {
    return "";
  }
  return std::string("name_to_handle_at: ") + std::strerror(errno);
}

TEST(GetMountId, AsksAnOlderKernelInAnotherWay) {
  const test::ScopedTempDir dir;
  if (const std::string why = WhyNoFileHandles(dir.Path()); !why.empty()) GTEST_SKIP() << why;
  test::PutFile(dir.Join("file"), "x");
  const std::uint64_t id = MountIdOf(dir.Path());
  test::RunInChild([&] {
    test::DenySystemCalls({SYS_statx});
    EXPECT_EQ(id, MountIdOf(dir.Path()));
    EXPECT_EQ(id, MountIdOf(dir.Join("file")));
  });
}

TEST(GetMountId, AsksAKernelThatLeavesTheMountOutInAnotherWay) {
  const test::ScopedTempDir dir;
  const std::uint64_t id = MountIdOf(dir.Path());
  isMountUntold = true;
  EXPECT_EQ(id, MountIdOf(dir.Path()));
  isMountUntold = false;
}

TEST(GetMountId, FailsWhereTheKernelKnowsNoWay) {
  const test::ScopedTempDir dir;
  test::RunInChild([&] {
    test::DenySystemCalls({SYS_statx, SYS_name_to_handle_at});
    const UniqueFd folder(::open(dir.Path().c_str(), O_PATH | O_CLOEXEC));
    std::uint64_t id = 42;
    EXPECT_EQ(ENOSYS, GetMountId(folder.Get(), &id));
    EXPECT_EQ(42U, id);
  });
}

TEST(FindMountPoint, FindsTheMountByItsNumber) {
  const std::string table =
      "22 1 254:1 / / rw,relatime shared:1 - ext4 /dev/vda1 rw\n"
      "23 22 0:21 / /proc rw,nosuid shared:5 - proc proc rw\n"
      "230 22 0:30 / /a/b rw - tmpfs tmpfs rw\n"
      "31 22 254:1 /home /mnt/bind rw shared:1 master:2 - ext4 /dev/vda1 rw\n"
      "4294967296 22 0:31 / /large rw - tmpfs tmpfs rw\n"
      "40 22 0:32 / /last rw - tmpfs tmpfs rw";
  const struct {
    std::uint64_t id;
    std::string expected;
  } rows[] = {{22, "/"},         {23, "/proc"}, {230, "/a/b"},
              {31, "/mnt/bind"}, {40, "/last"}, {4294967296U, "/large"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.id);
    std::string mountPoint;
    EXPECT_TRUE(FindMountPoint(table, row.id, &mountPoint));
    EXPECT_EQ(row.expected, mountPoint);
  }
}

TEST(FindMountPoint, FailsOnAnUnknownNumberAndLeavesTheResult) {
  std::string mountPoint = "kept";
  EXPECT_FALSE(FindMountPoint("22 1 254:1 / / rw - ext4 x rw\n", 1, &mountPoint));
  EXPECT_FALSE(FindMountPoint("22 1 254:1 / / rw - ext4 x rw\n", 2, &mountPoint));
  EXPECT_FALSE(FindMountPoint("22 1 254:1 / / rw - ext4 x rw\n", 0, &mountPoint));
  EXPECT_FALSE(FindMountPoint("", 22, &mountPoint));
  EXPECT_EQ("kept", mountPoint);
}

TEST(FindMountPoint, UndoesEscapes) {
  const struct {
    std::string field;
    std::string expected;
  } rows[] = {
      {R"(/a\040b)", "/a b"},           {R"(/\011\012\134x)", "/\t\n\\x"},
      {R"(/\134040)", R"(/\040)"},      {R"(/\303\244\377)", "/\xc3\xa4\xff"},
      {R"(/end\)", R"(/end\)"},         {R"(/end\04)", R"(/end\04)"},
      {R"(/\08x\9)", R"(/\08x\9)"},     {R"(/\777)", R"(/\777)"},
      {R"(/\-01\+01)", R"(/\-01\+01)"}, {R"(/#\043)", "/##"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.field);
    std::string mountPoint;
    EXPECT_TRUE(FindMountPoint("7 1 0:1 / " + row.field + " rw - tmpfs x rw\n", 7, &mountPoint));
    EXPECT_EQ(row.expected, mountPoint);
  }
}

TEST(FindMountPoint, PassesOverMalformedLines) {
  for (const std::string line :
       {"", "7", "7 ", "7 1", "7 1 0:1", "7 1 0:1 /", "7 1 0:1 / ", "7 1 0:1 /  rw",
        " 7 1 0:1 / /x rw", "7x 1 0:1 / /x rw", "x7 1 0:1 / /x rw", "-7 1 0:1 / /x rw",
        "+7 1 0:1 / /x rw", "0x7 1 0:1 / /x rw", "99999999999999999999 1 0:1 / /x rw",
        "7\t1 0:1 / /x rw"}) {
    SCOPED_TRACE(line);
    std::string mountPoint = "kept";
    EXPECT_FALSE(FindMountPoint(line, 7, &mountPoint));
    EXPECT_EQ("kept", mountPoint);
    EXPECT_TRUE(FindMountPoint(line + "\n7 1 0:1 / /good rw - tmpfs x rw\n", 7, &mountPoint));
    EXPECT_EQ("/good", mountPoint);
  }
}

}  // namespace

}  // namespace platform
