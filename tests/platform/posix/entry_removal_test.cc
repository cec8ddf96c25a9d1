#include "platform/entry_removal.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <string>
#include <sys/mount.h>

#include "platform/path_walk.h"
#include "platform/unique_fd.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace platform {

namespace {

TEST(PosixRemoveEntry, RefusesAMountPoint) {
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("canary/file"), "x");
  test::MakeDirs(dir.Join("a/memory"));
  test::MakeDirs(dir.Join("a/bind"));
  test::PutFile(dir.Join("a/file"), "");
  test::RunInRoot(dir.Path(),
                  [] {
                    UniqueFd folder;
                    ASSERT_EQ(0, OpenFolder("/", &folder));
                    for (const std::string mount : {"a/memory", "a/bind", "a/file"}) {
                      SCOPED_TRACE(mount);
                      EXPECT_EQ(EBUSY, RemoveEntry(folder.Get(), mount));
                    }
                    EXPECT_EQ("x", test::GetFile("/canary/file"));
                    EXPECT_EQ("x", test::GetFile("/a/file"));
                  },
                  {.beforeChangeRoot = [&] {
                    ASSERT_EQ(0,
                              ::mount("none", dir.Join("a/memory").c_str(), "tmpfs", 0, nullptr));
                    ASSERT_EQ(0, ::mount(dir.Join("canary").c_str(), dir.Join("a/bind").c_str(),
                                         nullptr, MS_BIND, nullptr));
                    ASSERT_EQ(0, ::mount(dir.Join("canary/file").c_str(),
                                         dir.Join("a/file").c_str(), nullptr, MS_BIND, nullptr));
                  }});
}

}  // namespace

}  // namespace platform
