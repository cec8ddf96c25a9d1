#include "fileutils/volume.h"

#include <functional>
#include <gtest/gtest.h>
#include <string>

#include "tests/support/files.h"
#include "tests/support/mount_memory.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace {

// Runs `body` in a root with a volume mounted at /volume.
void RunWithVolume(const test::ScopedTempDir& root, const std::function<void()>& body) {
  test::RootOptions options;
  options.mountProc = true;
  options.beforeChangeRoot = [&root] { test::MountMemory(root.Join("volume")); };
  test::RunInRoot(root.Path(), body, options);
}

void ExpectVolume(const std::string& path, const std::string& expected) {
  SCOPED_TRACE(path);
  std::string mountPoint = "before";
  EXPECT_TRUE(fileutils::GetVolumeRoot(path, mountPoint));
  EXPECT_EQ(mountPoint, expected);
}

TEST(GetVolumeRoot, FailsOnAPathThatDoesNotBeginAtTheTop) {
  for (const char* path : {"", "a/b", ".", "~/x"}) {
    SCOPED_TRACE(path);
    std::string mountPoint = "before";
    EXPECT_FALSE(fileutils::GetVolumeRoot(path, mountPoint));
    EXPECT_EQ(mountPoint, "before");
  }
}

TEST(GetVolumeRoot, IsTheMountPointOfWhatExists) {
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  RunWithVolume(root, [] {
    test::PutFile("/volume/folder/file", "x");
    test::MakeDirs("/beside");
    ExpectVolume("/volume", "/volume");
    ExpectVolume("/volume/", "/volume");
    ExpectVolume("/volume/folder/file", "/volume");
    ExpectVolume("/beside", "/");
    ExpectVolume("/", "/");
  });
}

TEST(GetVolumeRoot, IsTheVolumeOfTheNearestExistingAncestorOfWhatDoesNot) {
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  RunWithVolume(root, [] {
    ExpectVolume("/volume/not/yet/there", "/volume");
    ExpectVolume("/volume/not/yet/there/", "/volume");
    ExpectVolume("/nothing/at/all", "/");
    ExpectVolume("//", "/");
  });
}

TEST(GetVolumeRoot, ShortensPathsThatAreTooLong) {
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  RunWithVolume(root, [] {
    ExpectVolume("/volume/" + std::string(300, 'x'), "/volume");
    std::string path = "/volume";
    for (int i = 0; i < 100; ++i) path += "/" + std::string(200, 'x');
    ExpectVolume(path, "/volume");
  });
}

TEST(GetVolumeRoot, FollowsLinks) {
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  RunWithVolume(root, [] {
    test::MakeLink("/link", "/volume");
    test::MakeLink("/dangling", "/volume/nothing");
    ExpectVolume("/link", "/volume");
    ExpectVolume("/link/missing", "/volume");
    // What a dangling link leads to is missing, and so is the link.
    ExpectVolume("/dangling", "/");
  });
}

TEST(GetVolumeRoot, FailsOnOtherErrors) {
  if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  test::RunInRoot(root.Path(), [] {
    test::PutFile("/file", "x");
    test::MakeLink("/loop", "loop");
    for (const char* path : {"/file/below", "/loop"}) {
      SCOPED_TRACE(path);
      std::string mountPoint = "before";
      EXPECT_FALSE(fileutils::GetVolumeRoot(path, mountPoint));
      EXPECT_EQ(mountPoint, "before");
    }
  });
}

}  // namespace
