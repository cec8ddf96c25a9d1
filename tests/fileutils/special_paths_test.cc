#include "fileutils/special_paths.h"

#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <vector>

#include "tests/fileutils/scoped_log_hooks.h"
#include "tests/support/fake_host.h"
#include "tests/support/files.h"
#include "tests/support/mount_memory.h"
#include "tests/support/recording_logger.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace {

using test::LoggedMessage;

const char* const kFixedPaths[] = {
    "/Applications",
    "/Library",
    "/Library/Application Support",
    "/Library/Preferences",
    "/System",
    "/Users",
    "/usr",
    "/var",
    "/bin",
    "/sbin",
    "/etc",
    "/private",
    "/usr/local",
};

// Runs `body` in a root with a volume mounted at /Volumes/Data.
void RunWithVolume(const test::ScopedTempDir& root, const std::function<void()>& body) {
  test::RootOptions options;
  options.mountProc = true;
  options.beforeChangeRoot = [&root] { test::MountMemory(root.Join("Volumes/Data")); };
  test::RunInRoot(root.Path(), body, options);
}

TEST(IsVolumeRoot, IsTrueForTheTop) { EXPECT_TRUE(fileutils::IsVolumeRoot("/")); }

TEST(IsVolumeRoot, IsTrueForAMountPointByteForByte) {
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  RunWithVolume(root, [] {
    test::MakeDirs("/Volumes/Data/folder");
    test::MakeLink("/link", "/Volumes/Data");
    EXPECT_TRUE(fileutils::IsVolumeRoot("/Volumes/Data"));
    EXPECT_FALSE(fileutils::IsVolumeRoot("/Volumes/Data/"));
    EXPECT_FALSE(fileutils::IsVolumeRoot("//Volumes/Data"));
    EXPECT_FALSE(fileutils::IsVolumeRoot("/Volumes/Data/folder"));
    EXPECT_FALSE(fileutils::IsVolumeRoot("/Volumes/Data/missing"));
    EXPECT_FALSE(fileutils::IsVolumeRoot("/Volumes"));
    EXPECT_FALSE(fileutils::IsVolumeRoot("/link"));
  });
}

TEST(IsVolumeRoot, IsFalseWhereNoVolumeIsFound) {
  EXPECT_FALSE(fileutils::IsVolumeRoot(""));
  EXPECT_FALSE(fileutils::IsVolumeRoot("relative"));
}

TEST(GetSpecialPaths, AppendsTheFixedFoldersAndTheHome) {
  test::FakeHost host;
  host.directories.home = "/Users/mia";
  std::vector<std::string> paths = {"before"};
  fileutils::GetSpecialPaths(paths);
  std::vector<std::string> expected = {"before"};
  expected.insert(expected.end(), std::begin(kFixedPaths), std::end(kFixedPaths));
  expected.emplace_back("/Users/mia");
  EXPECT_EQ(paths, expected);
}

TEST(GetSpecialPaths, LooksTheHomeUpAfreshAsTheConsoleUser) {
  test::FakeHost host;
  host.console.user = {.name = "mia", .uid = 501, .gid = 20};
  std::vector<std::string> paths;
  host.directories.home = "/Users/mia";
  fileutils::GetSpecialPaths(paths);
  host.directories.home = "/Users/moved";
  fileutils::GetSpecialPaths(paths);
  ASSERT_EQ(paths.size(), 28U);
  EXPECT_EQ(paths[13], "/Users/mia");
  EXPECT_EQ(paths[27], "/Users/moved");
  EXPECT_EQ(host.calls,
            (test::CallRecord{"GetConsoleUser", "SetEffectiveUser(501)", "HomeDirectory",
                              "SetEffectiveUser(0)", "GetConsoleUser", "SetEffectiveUser(501)",
                              "HomeDirectory", "SetEffectiveUser(0)"}));
}

TEST(GetSpecialPaths, AppendsTheFixedFoldersAloneWhereTheHomeCannotBeTold) {
  test::FakeHost host;
  host.directories.tellsHome = false;
  std::vector<std::string> paths;
  fileutils::GetSpecialPaths(paths);
  EXPECT_EQ(paths, std::vector<std::string>(std::begin(kFixedPaths), std::end(kFixedPaths)));
  EXPECT_FALSE(fileutils::IsSpecialPath("", nullptr));
}

// The fixed folders are asked for in an empty root: on a machine some may be volumes.
TEST(IsSpecialPath, IsTrueForEachSpecialPathWithAWarning) {
  if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  test::RunInRoot(root.Path(), [] {
    test::FakeHost host;
    host.directories.home = "/home/mia";
    std::vector<std::string> paths(std::begin(kFixedPaths), std::end(kFixedPaths));
    paths.emplace_back("/home/mia");
    for (const std::string& path : paths) {
      SCOPED_TRACE(path);
      test::RecordingLogger logger;
      EXPECT_TRUE(fileutils::IsSpecialPath(path, &logger));
      EXPECT_EQ(logger.messages,
                (std::vector<LoggedMessage>{{"Log", 40, "", "FileUtils", "", "",
                                             "Path %s is a special path: System path",
                                             "Path " + path + " is a special path: System path"}}));
    }
  });
}

TEST(IsSpecialPath, IsTrueForAVolumeRootWithAWarningOfItsOwn) {
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  RunWithVolume(root, [] {
    for (const std::string path : {"/", "/Volumes/Data"}) {
      SCOPED_TRACE(path);
      test::RecordingLogger logger;
      EXPECT_TRUE(fileutils::IsSpecialPath(path, &logger));
      EXPECT_EQ(logger.messages,
                (std::vector<LoggedMessage>{{"Log", 40, "", "FileUtils", "", "",
                                             "Path %s is a special path: Volume Root",
                                             "Path " + path + " is a special path: Volume Root"}}));
    }
  });
}

TEST(IsSpecialPath, SaysVolumeRootOfASpecialPathThatIsOne) {
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  test::RootOptions options;
  options.mountProc = true;
  options.beforeChangeRoot = [&root] { test::MountMemory(root.Join("Users")); };
  test::RunInRoot(
      root.Path(),
      [] {
        test::RecordingLogger logger;
        EXPECT_TRUE(fileutils::IsSpecialPath("/Users", &logger));
        EXPECT_EQ(test::LevelsAndMessages(logger.messages),
                  std::vector<std::string>{"40 Path /Users is a special path: Volume Root"});
      },
      options);
}

TEST(IsSpecialPath, ComparesLiterallyAndIsSilentOtherwise) {
  if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  test::RunInRoot(root.Path(), [] {
    test::FakeHost host;
    host.directories.home = "/home/mia";
    for (const char* path :
         {"/Library/", "//Library", "/library", "/Library/Other", "/Library/.", "/usr/local/bin",
          "/home/mia/", "/home/mia/x", "/home", "/opt", "Library", "", "/Applications/X.app"}) {
      SCOPED_TRACE(path);
      test::RecordingLogger logger;
      EXPECT_FALSE(fileutils::IsSpecialPath(path, &logger));
      EXPECT_TRUE(logger.messages.empty());
    }
  });
}

TEST(IsSpecialPath, WarnsThroughTheHookWithoutALogger) {
  test::FakeHost host;
  host.directories.home = "/nowhere/at/all";
  const test::ScopedLogHooks hooks(test::RecordingLogCall);
  EXPECT_TRUE(fileutils::IsSpecialPath("/nowhere/at/all", nullptr));
  EXPECT_EQ(test::RecordedCalls(),
            (std::vector<LoggedMessage>{{"call", 40, "DunmarUtils", "FileUtils", "", "",
                                         "Path %s is a special path: System path",
                                         "Path /nowhere/at/all is a special path: System path"}}));
}

TEST(IsSpecialPath, AnswersTheSameWithNowhereToWarn) {
  test::FakeHost host;
  host.directories.home = "/nowhere/at/all";
  EXPECT_TRUE(fileutils::IsSpecialPath("/nowhere/at/all", nullptr));
  EXPECT_FALSE(fileutils::IsSpecialPath("/nowhere/at/all/x", nullptr));
}

}  // namespace
