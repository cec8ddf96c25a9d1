#include "platform/folder_listing.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <sys/mount.h>
#include <vector>

#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace platform {

namespace {

TEST(PosixWalkFolder, ReportsMountPointsAndDoesNotEnterThem) {
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("tree/plain/inner"), "x");
  test::MakeDirs(dir.Join("tree/mount"));
  test::MakeDirs(dir.Join("tree/bind"));
  test::RunInRoot(
      dir.Path(),
      [] {
        std::vector<std::string> paths;
        WalkFolder("/tree", [&](const WalkEntry& entry) {
          paths.push_back(entry.path);
          return true;
        });
        std::sort(paths.begin(), paths.end());
        EXPECT_EQ(paths, (std::vector<std::string>{"bind", "mount", "plain", "plain/inner"}));
      },
      {.beforeChangeRoot = [&] {
        ASSERT_EQ(0, ::mount("none", dir.Join("tree/mount").c_str(), "tmpfs", 0, nullptr));
        test::PutFile(dir.Join("tree/mount/new"), "x");
        ASSERT_EQ(0, ::mount(dir.Join("tree/plain").c_str(), dir.Join("tree/bind").c_str(), nullptr,
                             MS_BIND, nullptr));
      }});
}

}  // namespace

}  // namespace platform
