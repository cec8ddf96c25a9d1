#include "platform/mount_point.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace platform {

namespace {

class GetMountPointTest : public testing::Test {
 protected:
  [[nodiscard]] std::string At(const std::string& relative) const { return dir_.Join(relative); }

  [[nodiscard]] static std::string MountPoint(const std::string& path) {
    std::string mountPoint = "failed";
    (void)GetMountPoint(path, &mountPoint);
    return mountPoint;
  }

  test::ScopedTempDir dir_;
};

TEST_F(GetMountPointTest, IsTheSameForEverythingInAFolder) {
  test::PutFile(At("a/file"), "x");
  test::MakeLink(At("link"), "a/file");
  test::MakeFifo(At("fifo"));
  const std::string expected = MountPoint(dir_.Path());
  EXPECT_EQ('/', expected.front());
  for (const std::string path : {"a", "a/", "a/.", "a/file", "link", "fifo"}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(expected, MountPoint(At(path)));
  }
}

TEST_F(GetMountPointTest, OfTheTopIsTheTop) { EXPECT_EQ("/", MountPoint("/")); }

TEST_F(GetMountPointTest, FailsAsTheSystemDoesAndLeavesTheResult) {
  test::PutFile(At("file"), "x");
  test::MakeLink(At("dangling"), "missing");
  test::MakeLink(At("self"), "self");
  const struct {
    std::string path;
    int error;
  } rows[] = {
      {At("missing"), ENOENT},
      {At("dangling"), ENOENT},
      {"", ENOENT},
      {At("file/x"), ENOTDIR},
      {At("file/"), ENOTDIR},
      {At("self"), ELOOP},
      {At(std::string(256, 'n')), ENAMETOOLONG},
      {"/" + std::string(5000, '/'), ENAMETOOLONG},
      {At(std::string("file\0", 5)), EINVAL},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    std::string mountPoint = "kept";
    EXPECT_EQ(row.error, GetMountPoint(row.path, &mountPoint));
    EXPECT_EQ("kept", mountPoint);
  }
}

TEST_F(GetMountPointTest, NeedsTheRightToSearch) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::PutFile(At("closed/file"), "x");
  test::SetMode(At("closed"), 0700);
  test::RunInChild([&] {
    ASSERT_EQ(0, ::seteuid(1001));
    std::string mountPoint = "kept";
    EXPECT_EQ(EACCES, GetMountPoint(At("closed/file"), &mountPoint));
    EXPECT_EQ("kept", mountPoint);
    // What cannot be read has a mount point nevertheless.
    EXPECT_EQ(0, GetMountPoint(At("closed"), &mountPoint));
  });
}

}  // namespace

}  // namespace platform
