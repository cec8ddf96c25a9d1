#include "fileutils/delete_directory.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "platform/system_calls_for_testing.h"
#include "tests/fileutils/scoped_log_hooks.h"
#include "tests/support/fake_host.h"
#include "tests/support/files.h"
#include "tests/support/mount_memory.h"
#include "tests/support/recording_logger.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"
#include "tests/support/tree.h"

namespace {

using test::LevelsAndMessages;
using test::LoggedMessage;
using Lines = std::vector<std::string>;

struct Options {
  bool recursive = true;
  bool unusedFlag = true;
  bool logSuccess = true;
  bool checkSpecialPath = true;
};

bool Delete(const std::string& path, const Options& options,
            dunmar::AbstractLogger* logger = nullptr) {
  return fileutils::DeleteDirectory(path, options.recursive, options.unusedFlag, logger,
                                    options.logSuccess, options.checkSpecialPath);
}

// Removes nothing and records the names that were to be removed.
class RemovalRecorder {
 public:
  RemovalRecorder() {
    Names().clear();
    calls_->unlinkat = [](int, const char* name, int) { return Refuse(name); };
    calls_->remove = [](const char* path) { return Refuse(path); };
  }
  static std::vector<std::string>& Names() {
    static std::vector<std::string> names;
    return names;
  }

 private:
  static int Refuse(const char* name) {
    Names().emplace_back(name);
    errno = EPERM;
    return -1;
  }
  platform::ScopedSystemCalls calls_;
};

TEST(DeleteDirectory, FailsOnAnEmptyPathWithoutAWord) {
  test::RecordingLogger logger;
  EXPECT_FALSE(Delete("", {}, &logger));
  EXPECT_FALSE(Delete("", {.checkSpecialPath = false}, &logger));
  EXPECT_TRUE(logger.messages.empty());
}

TEST(DeleteDirectory, RemovesAWholeTreeAndSaysSo) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("tree/a/b/file"), "x");
  test::PutFile(folder.Join("tree/.hidden"), "x");
  test::PutFile(folder.Join("beside"), "x");
  test::RecordingLogger logger;
  EXPECT_TRUE(Delete(folder.Join("tree"), {}, &logger));
  EXPECT_FALSE(test::IsThere(folder.Join("tree")));
  EXPECT_TRUE(test::IsThere(folder.Join("beside")));
  EXPECT_EQ(
      logger.messages,
      (std::vector<LoggedMessage>{{"Log", 30, "", "FileUtils", "", "",
                                   "Successfully deleted directory from path: %s. Recursive: %d",
                                   "Successfully deleted directory from path: " +
                                       folder.Join("tree") + ". Recursive: 1"}}));
}

TEST(DeleteDirectory, KeepsQuietAboutSuccessUnlessAsked) {
  const test::ScopedTempDir folder;
  test::MakeDirs(folder.Join("tree"));
  test::RecordingLogger logger;
  EXPECT_TRUE(Delete(folder.Join("tree"), {.logSuccess = false}, &logger));
  EXPECT_FALSE(test::IsThere(folder.Join("tree")));
  EXPECT_TRUE(logger.messages.empty());
}

TEST(DeleteDirectory, RemovesAnEmptyFolderWithoutRecursion) {
  const test::ScopedTempDir folder;
  test::MakeDirs(folder.Join("empty"));
  test::RecordingLogger logger;
  EXPECT_TRUE(Delete(folder.Join("empty"), {.recursive = false}, &logger));
  EXPECT_FALSE(test::IsThere(folder.Join("empty")));
  EXPECT_EQ(LevelsAndMessages(logger.messages),
            Lines{"30 Successfully deleted directory from path: " + folder.Join("empty") +
                  ". Recursive: 0"});
}

TEST(DeleteDirectory, RemovesASingleFileWithoutRecursion) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("file"), "x");
  EXPECT_TRUE(Delete(folder.Join("file"), {.recursive = false}));
  EXPECT_FALSE(test::IsThere(folder.Join("file")));
}

TEST(DeleteDirectory, LeavesAFolderWithOneFileWithoutRecursionAndWithoutAWord) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("full/.hidden"), "x");
  test::RecordingLogger logger;
  EXPECT_FALSE(Delete(folder.Join("full"), {.recursive = false}, &logger));
  EXPECT_EQ(test::GetFile(folder.Join("full/.hidden")), "x");
  EXPECT_TRUE(logger.messages.empty());
}

TEST(DeleteDirectory, RemovesALinkAndNotWhatItLeadsTo) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("kept/file"), "x");
  test::MakeLink(folder.Join("link"), "kept");
  test::PutFile(folder.Join("tree/file"), "x");
  test::MakeLink(folder.Join("tree/link"), "../kept");
  EXPECT_TRUE(Delete(folder.Join("link"), {}));
  EXPECT_TRUE(Delete(folder.Join("tree"), {}));
  EXPECT_FALSE(test::IsThere(folder.Join("link")));
  EXPECT_FALSE(test::IsThere(folder.Join("tree")));
  EXPECT_EQ(test::GetFile(folder.Join("kept/file")), "x");
}

TEST(DeleteDirectory, RemovesADanglingLink) {
  const test::ScopedTempDir folder;
  test::MakeLink(folder.Join("dangling"), "nothing");
  EXPECT_TRUE(Delete(folder.Join("dangling"), {.recursive = false}));
  EXPECT_FALSE(test::IsThere(folder.Join("dangling")));
}

TEST(DeleteDirectory, TakesALinkToAFullFolderForFullWithoutRecursion) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("full/file"), "x");
  test::MakeLink(folder.Join("link"), "full");
  EXPECT_FALSE(Delete(folder.Join("link"), {.recursive = false}));
  EXPECT_TRUE(test::IsThere(folder.Join("link")));
}

TEST(DeleteDirectory, WarnsWithTheDescriptionWhereNothingIsThere) {
  const test::ScopedTempDir folder;
  for (const bool recursive : {false, true}) {
    SCOPED_TRACE(recursive);
    test::RecordingLogger logger;
    EXPECT_FALSE(Delete(folder.Join("missing"), {.recursive = recursive}, &logger));
    ASSERT_EQ(logger.messages.size(), 1U);
    const LoggedMessage& message = logger.messages[0];
    EXPECT_EQ(message.level, 40);
    EXPECT_EQ(message.component, "FileUtils");
    EXPECT_EQ(message.text5, "");
    EXPECT_EQ(message.format, "Failed to remove file. Error: %s");
    EXPECT_TRUE(message.message.starts_with("Failed to remove file. Error: "));
    EXPECT_GT(message.message.size(), std::string("Failed to remove file. Error: ").size());
  }
}

TEST(DeleteDirectory, DoesTheSameWhateverTheUnusedFlag) {
  const test::ScopedTempDir folder;
  for (const bool unusedFlag : {false, true}) {
    SCOPED_TRACE(unusedFlag);
    test::PutFile(folder.Join("tree/file"), "x");
    EXPECT_FALSE(Delete(folder.Join("tree"), {.recursive = false, .unusedFlag = unusedFlag}));
    EXPECT_TRUE(Delete(folder.Join("tree"), {.unusedFlag = unusedFlag}));
    EXPECT_FALSE(test::IsThere(folder.Join("tree")));
  }
}

TEST(DeleteDirectory, RefusesTheTopWithTwoWarnings) {
  if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  test::RunInRoot(root.Path(), [] {
    test::PutFile("/file", "x");
    const RemovalRecorder removals;
    const test::ScopedLogHooks hooks(test::RecordingLogCall);
    EXPECT_FALSE(Delete("/", {}));
    EXPECT_EQ(RemovalRecorder::Names(), Lines{});
    EXPECT_EQ(test::RecordedCalls(), (std::vector<LoggedMessage>{
                                         {"call", 40, "DunmarUtils", "FileUtils", "", "",
                                          "Path %s is a special path: Volume Root",
                                          "Path / is a special path: Volume Root"},
                                         {"call", 40, "DunmarUtils", "FileUtils", "", "",
                                          "Directory to delete: %s is a special path, skipping.",
                                          "Directory to delete: / is a special path, skipping."}}));
  });
}

TEST(DeleteDirectory, RefusesAMountPointWithTwoWarnings) {
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  test::RootOptions options;
  options.mountProc = true;
  options.beforeChangeRoot = [&root] { test::MountMemory(root.Join("Volumes/Data")); };
  test::RunInRoot(
      root.Path(),
      [] {
        test::PutFile("/Volumes/Data/file", "x");
        const RemovalRecorder removals;
        const test::ScopedLogHooks hooks(test::RecordingLogCall);
        EXPECT_FALSE(Delete("/Volumes/Data", {}));
        EXPECT_EQ(RemovalRecorder::Names(), Lines{});
        EXPECT_EQ(LevelsAndMessages(test::RecordedCalls()),
                  (Lines{"40 Path /Volumes/Data is a special path: Volume Root",
                         "40 Directory to delete: /Volumes/Data is a special path, skipping."}));
      },
      options);
}

TEST(DeleteDirectory, RefusesASpecialFolderByItsExactNameOnly) {
  if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  test::RunInRoot(root.Path(), [] {
    test::MakeDirs("/Library");
    const test::ScopedLogHooks hooks(test::RecordingLogCall);
    EXPECT_FALSE(Delete("/Library", {}));
    EXPECT_TRUE(test::IsThere("/Library"));
    EXPECT_EQ(LevelsAndMessages(test::RecordedCalls()),
              (Lines{"40 Path /Library is a special path: System path",
                     "40 Directory to delete: /Library is a special path, skipping."}));

    test::RecordedCalls().clear();
    EXPECT_TRUE(Delete("/Library/", {}));
    EXPECT_FALSE(test::IsThere("/Library"));
    EXPECT_EQ(LevelsAndMessages(test::RecordedCalls()),
              Lines{"30 Successfully deleted directory from path: /Library/. Recursive: 1"});
  });
}

TEST(DeleteDirectory, RefusesTheHomeFolderAndAllowsAFolderInIt) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("home/inside/file"), "x");
  test::FakeHost host;
  host.directories.home = folder.Join("home");
  const test::ScopedLogHooks hooks(test::RecordingLogCall);
  EXPECT_FALSE(Delete(folder.Join("home"), {}));
  EXPECT_EQ(test::GetFile(folder.Join("home/inside/file")), "x");
  EXPECT_TRUE(Delete(folder.Join("home/inside"), {}));
  EXPECT_FALSE(test::IsThere(folder.Join("home/inside")));
  EXPECT_EQ(
      LevelsAndMessages(test::RecordedCalls()),
      (Lines{"40 Path " + folder.Join("home") + " is a special path: System path",
             "40 Directory to delete: " + folder.Join("home") + " is a special path, skipping.",
             "30 Successfully deleted directory from path: " + folder.Join("home/inside") +
                 ". Recursive: 1"}));
}

TEST(DeleteDirectory, KeepsTheMessageOfTheCheckFromItsOwnLogger) {
  const test::ScopedTempDir folder;
  test::FakeHost host;
  host.directories.home = folder.Path();
  test::RecordingLogger logger;
  const test::ScopedLogHooks hooks(test::RecordingLogCall);
  EXPECT_FALSE(Delete(folder.Path(), {}, &logger));
  EXPECT_EQ(LevelsAndMessages(test::RecordedCalls()),
            Lines{"40 Path " + folder.Path() + " is a special path: System path"});
  EXPECT_EQ(logger.messages,
            (std::vector<LoggedMessage>{
                {"Log", 40, "", "FileUtils", "", "",
                 "Directory to delete: %s is a special path, skipping.",
                 "Directory to delete: " + folder.Path() + " is a special path, skipping."}}));
}

TEST(DeleteDirectory, LogsThroughTheDefaultLoggerWithoutAHook) {
  const test::ScopedTempDir folder;
  test::FakeHost host;
  host.directories.home = folder.Path();
  test::RecordingLogger byDefault;
  const test::ScopedLogHooks hooks(nullptr, &byDefault);
  EXPECT_FALSE(Delete(folder.Path(), {}));
  EXPECT_EQ(LevelsAndMessages(byDefault.messages),
            (Lines{"40 Path " + folder.Path() + " is a special path: System path",
                   "40 Directory to delete: " + folder.Path() + " is a special path, skipping."}));
}

TEST(DeleteDirectory, MakesNoTestAtAllWithTheCheckOff) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("home/file"), "x");
  test::FakeHost host;
  host.directories.home = folder.Join("home");
  test::RecordingLogger logger;
  EXPECT_TRUE(
      Delete(folder.Join("home"), {.logSuccess = false, .checkSpecialPath = false}, &logger));
  EXPECT_FALSE(test::IsThere(folder.Join("home")));
  EXPECT_TRUE(host.calls.empty());
  EXPECT_TRUE(logger.messages.empty());
}

}  // namespace
