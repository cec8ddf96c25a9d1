#include "hook/cef_folder.h"

#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "fileutils/log_hooks.h"
#include "tests/hook/machine_in_folder.h"
#include "tests/support/files.h"
#include "tests/support/recording_logger.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"
#include "tests/support/tree.h"

namespace hook {
namespace {

using Lines = std::vector<std::string>;

constexpr const char* kFolder = "Applications/Utilities/Velmora Caldris/CEF";

// The messages of the utilities, which the hook itself never asks for, next to its own.
class ScopedUtilityLog {
 public:
  ScopedUtilityLog() { fileutils::SetLogHook(test::RecordingLogCall); }
  ~ScopedUtilityLog() { fileutils::SetLogHook(nullptr); }
  ScopedUtilityLog(const ScopedUtilityLog&) = delete;
  ScopedUtilityLog& operator=(const ScopedUtilityLog&) = delete;

  [[nodiscard]] static Lines Messages() { return test::LevelsAndMessages(test::RecordedCalls()); }

 private:
  test::ScopedRecordingLogCall logCall_;
};

TEST(DeleteCEFFolder, DoesAndLogsNothingWithoutTheFolder) {
  const test::MachineInFolder machine;
  const ScopedUtilityLog log;
  test::MakeDirs(machine.At("Applications/Utilities/Velmora Caldris"));
  const test::Tree before = test::ReadTree(machine.folder.Path());
  EXPECT_TRUE(DeleteCEFFolder());
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(machine.folder.Path())), Lines{});
  EXPECT_EQ(log.Messages(), Lines{});
}

TEST(DeleteCEFFolder, RemovesTheFolderWithAllThatIsInItAndNothingElse) {
  const test::MachineInFolder machine;
  test::MakeDirs(machine.At("Applications/Utilities/Velmora Caldris"));
  test::PutFile(machine.At("Applications/Utilities/Velmora Caldris/CEF2/file"), "kept");
  test::PutFile(machine.At("Applications/Utilities/Velmora Caldris/Ixer/file"), "kept");
  test::PutFile(machine.At("Applications/CEF/file"), "kept");
  const test::Tree before = test::ReadTree(machine.folder.Path());
  test::PutFile(machine.At(kFolder) + "/a/b/c", "gone");
  test::PutFile(machine.At(kFolder) + "/.hidden", "gone");
  test::MakeDirs(machine.At(kFolder) + "/empty");
  EXPECT_TRUE(DeleteCEFFolder());
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(machine.folder.Path())), Lines{});
}

TEST(DeleteCEFFolder, LogsNothingItself) {
  const test::MachineInFolder machine;
  const test::ScopedRecordingLogCall logCall;
  test::PutFile(machine.At(kFolder) + "/file", "gone");
  EXPECT_TRUE(DeleteCEFFolder());
  EXPECT_FALSE(test::IsThere(machine.At(kFolder)));
  EXPECT_EQ(test::RecordedCalls(), std::vector<test::LoggedMessage>{});
}

TEST(DeleteCEFFolder, LetsTheUtilitiesLogTheSuccess) {
  const test::MachineInFolder machine;
  const ScopedUtilityLog log;
  test::PutFile(machine.At(kFolder) + "/file", "gone");
  EXPECT_TRUE(DeleteCEFFolder());
  EXPECT_EQ(log.Messages(), Lines{"30 Successfully deleted directory from path: " +
                                  machine.At(kFolder) + ". Recursive: 1"});
}

TEST(DeleteCEFFolder, LeavesASpecialPathAndIsStillTrue) {
  test::MachineInFolder machine;
  machine.host.directories.home = machine.At(kFolder);
  const ScopedUtilityLog log;
  test::PutFile(machine.At(kFolder) + "/file", "kept");
  EXPECT_TRUE(DeleteCEFFolder());
  EXPECT_EQ(test::GetFile(machine.At(kFolder) + "/file"), "kept");
  EXPECT_EQ(
      log.Messages(),
      (Lines{"40 Path " + machine.At(kFolder) + " is a special path: System path",
             "40 Directory to delete: " + machine.At(kFolder) + " is a special path, skipping."}));
}

TEST(DeleteCEFFolder, WorksOnWhatAFailedLookupLeaves) {
  if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  test::PutFile(root.Join("Utilities/Velmora Caldris/CEF/file"), "gone");
  test::PutFile(root.Join("Utilities/Velmora Caldris/other"), "kept");
  test::RunInRoot(root.Path(), [] {
    const test::FakeHost host;
    EXPECT_TRUE(DeleteCEFFolder());
  });
  EXPECT_FALSE(test::IsThere(root.Join("Utilities/Velmora Caldris/CEF")));
  EXPECT_EQ(test::GetFile(root.Join("Utilities/Velmora Caldris/other")), "kept");
}

TEST(DeleteCEFFolder, IsTrueWhereRemovalFails) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::MachineInFolder machine;
  test::PutFile(machine.At(kFolder) + "/file", "kept");
  test::RunInChild([] {
    ASSERT_EQ(seteuid(1000), 0);
    EXPECT_TRUE(DeleteCEFFolder());
  });
  EXPECT_EQ(test::GetFile(machine.At(kFolder) + "/file"), "kept");
}

TEST(DeleteCEFFolder, RemovesALinkAndNotWhatItLeadsTo) {
  const test::MachineInFolder machine;
  test::PutFile(machine.At("elsewhere/file"), "kept");
  test::MakeDirs(machine.At("Applications/Utilities/Velmora Caldris"));
  test::MakeLink(machine.At(kFolder), machine.At("elsewhere"));
  EXPECT_TRUE(DeleteCEFFolder());
  EXPECT_FALSE(test::IsThere(machine.At(kFolder)));
  EXPECT_EQ(test::GetFile(machine.At("elsewhere/file")), "kept");
}

TEST(DeleteCEFFolder, FollowsNoLinkInTheFolder) {
  const test::MachineInFolder machine;
  test::PutFile(machine.At("elsewhere/file"), "kept");
  test::MakeDirs(machine.At(kFolder));
  test::MakeLink(machine.At(kFolder) + "/link", machine.At("elsewhere"));
  EXPECT_TRUE(DeleteCEFFolder());
  EXPECT_FALSE(test::IsThere(machine.At(kFolder)));
  EXPECT_EQ(test::GetFile(machine.At("elsewhere/file")), "kept");
}

TEST(DeleteCEFFolder, LeavesADanglingLink) {
  const test::MachineInFolder machine;
  test::MakeDirs(machine.At("Applications/Utilities/Velmora Caldris"));
  test::MakeLink(machine.At(kFolder), machine.At("nowhere"));
  EXPECT_TRUE(DeleteCEFFolder());
  EXPECT_EQ(test::GetLink(machine.At(kFolder)), machine.At("nowhere"));
}

TEST(DeleteCEFFolder, RemovesAFileOfThatName) {
  const test::MachineInFolder machine;
  test::PutFile(machine.At(kFolder), "gone");
  EXPECT_TRUE(DeleteCEFFolder());
  EXPECT_FALSE(test::IsThere(machine.At(kFolder)));
}

}  // namespace
}  // namespace hook
