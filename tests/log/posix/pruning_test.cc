#include "log/pruning.h"

#include <array>
#include <gtest/gtest.h>
#include <string>
#include <sys/inotify.h>
#include <unistd.h>
#include <utility>

#include "platform/unique_fd.h"
#include "tests/support/fake_host.h"
#include "tests/support/files.h"
#include "tests/support/mount_memory.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace dunmar {

namespace {

// A home has room for more than can be looked through at each rotation.
TEST(PruneOldLogs, DoesNotEvenOpenFoldersThatDoNotBeginWithTheStem) {
  const test::ScopedTempDir dir;
  test::FakeHost host;
  host.clock.now.seconds = 1794830400;  // 2026-11-16 12:00:00 in UTC
  for (const auto& [folder, isOpened] : {std::pair("logs/Ixer sub", true), {"logs/sub", false}}) {
    SCOPED_TRACE(folder);
    test::PutFile(dir.Join(folder) + "/file", "");
    const platform::UniqueFd watch(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    ASSERT_NE(inotify_add_watch(watch.Get(), dir.Join(folder).c_str(), IN_OPEN), -1);
    EXPECT_FALSE(PruneOldLogs(dir.Join("logs/Ixer.log"), 4));
    std::array<char, 4096> events;
    EXPECT_EQ(read(watch.Get(), events.data(), events.size()) > 0, isOpened);
  }
}

TEST(PruneOldLogs, DoesNotEnterAMountPoint) {
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir dir;
  test::RootOptions options;
  options.beforeChangeRoot = [&dir] { test::MountMemory(dir.Join("logs/Ixer mounted")); };
  test::RunInRoot(
      dir.Path(),
      [] {
        test::PutFile("/logs/Ixer.log", "");
        test::PutFile("/logs/Ixer mounted/Ixer.log", "kept");
        EXPECT_FALSE(PruneOldLogs("/logs/Ixer.log", 0));
        EXPECT_EQ(test::GetFile("/logs/Ixer mounted/Ixer.log"), "kept");
      },
      options);
}

}  // namespace

}  // namespace dunmar
