#include "hook/application_shortcut.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

#include "platform/desktop.h"
#include "platform/host_for_testing.h"
#include "platform/system_calls_for_testing.h"
#include "tests/hook/machine_in_folder.h"
#include "tests/support/fake_host.h"
#include "tests/support/files.h"
#include "tests/support/recording_logger.h"
#include "tests/support/tree.h"

namespace hook {
namespace {

using Lines = std::vector<std::string>;

constexpr const char* kFolder = "Applications/Velmora Caldris";
constexpr const char* kLink = "Applications/Velmora Caldris/Velmora Caldris";
constexpr const char* kBundle = "Applications/Utilities/Velmora Caldris/Ixer/Caldris.app";

Lines Messages() { return test::LevelsAndMessages(test::RecordedCalls()); }

// What the desktop was asked for.
Lines IconCalls(const test::MachineInFolder& machine) {
  Lines calls;
  std::copy_if(machine.host.calls.begin(), machine.host.calls.end(), std::back_inserter(calls),
               [](const std::string& call) { return call.rfind("SetFolderIcon(", 0) == 0; });
  return calls;
}

std::string TheIconCall(const test::MachineInFolder& machine) {
  return "SetFolderIcon(" +
         machine.At("Installer/Caldris.app/Contents/Resources/CaldrisApplicationFolder.icns") +
         "," + machine.At(kFolder) + ")";
}

TEST(GetZintShortcutPath, NamesTheFolderAndTheLinkAlike) {
  const test::MachineInFolder machine;
  const test::ScopedRecordingLogCall logCall;
  std::string path = "before";
  EXPECT_TRUE(GetZintShortcutPath(path));
  EXPECT_EQ(path, machine.At("Applications/Velmora Caldris/Velmora Caldris"));
  EXPECT_EQ(test::RecordedCalls(),
            (std::vector<test::LoggedMessage>{
                {.operation = "call",
                 .level = 30,
                 .module = "ZintCustomHook",
                 .component = "ZintCustomHook",
                 .text4 = "",
                 .text5 = "",
                 .format = "Inside GetZintShortcutPath | Zint shortcut path: %s",
                 .message = "Inside GetZintShortcutPath | Zint shortcut path: " +
                            machine.At("Applications/Velmora Caldris/Velmora Caldris")}}));
}

TEST(GetZintShortcutPath, IsThisOnAStandardSystem) {
  test::FakeHost host;
  host.directories.folders[{2, 1}] = "/Applications";
  std::string path;
  EXPECT_TRUE(GetZintShortcutPath(path));
  EXPECT_EQ(path, "/Applications/Velmora Caldris/Velmora Caldris");
}

TEST(GetZintShortcutPath, FailsWithoutApplicationsFolder) {
  const test::FakeHost host;
  const test::ScopedRecordingLogCall logCall;
  std::string path = "before";
  EXPECT_FALSE(GetZintShortcutPath(path));
  EXPECT_EQ(path, "before");
  EXPECT_EQ(test::RecordedCalls(),
            (std::vector<test::LoggedMessage>{
                {.operation = "call",
                 .level = 50,
                 .module = "ZintCustomHook",
                 .component = "ZintCustomHook",
                 .text4 = "",
                 .text5 = "",
                 .format = "Inside GetZintShortcutPath | Unable to get the Zint shortcut path",
                 .message = "Inside GetZintShortcutPath | Unable to get the Zint shortcut path"}}));
}

TEST(CreateZintShortcut, MakesFolderIconAndLinkOnAFreshMachine) {
  const test::MachineInFolder machine;
  const test::ScopedRecordingLogCall logCall;
  EXPECT_TRUE(CreateZintShortcut(/*isUpdate=*/false));
  EXPECT_EQ(test::GetLink(machine.At(kLink)), machine.At(kBundle));
  EXPECT_EQ(IconCalls(machine), Lines{TheIconCall(machine)});
  EXPECT_EQ(Messages(),
            (Lines{"10 Inside CreateZintShortcut",
                   "30 Inside GetZintShortcutPath | Zint shortcut path: " + machine.At(kLink),
                   "10 Inside DeleteZintShortcut",
                   "30 Inside GetZintShortcutPath | Zint shortcut path: " + machine.At(kLink),
                   "30 Inside DeleteZintShortcut | Successfully deleted Zint shortcut at path " +
                       machine.At(kLink),
                   "10 Inside CreateZintShortcut | Creating Zint shortcut folder at " +
                       machine.At(kFolder),
                   "30 Inside CreateZintShortcut | Successfully created Zint shortcut at path: " +
                       machine.At(kLink) + " for " + machine.At(kBundle)}));
}

TEST(CreateZintShortcut, LogsAsTheHookWithTheseFormats) {
  const test::MachineInFolder machine;
  const test::ScopedRecordingLogCall logCall;
  EXPECT_TRUE(CreateZintShortcut(/*isUpdate=*/false));
  Lines formats;
  for (const test::LoggedMessage& message : test::RecordedCalls()) {
    EXPECT_EQ(message.module, "ZintCustomHook");
    EXPECT_EQ(message.component, "ZintCustomHook");
    EXPECT_EQ(message.text4, "");
    EXPECT_EQ(message.text5, "");
    formats.push_back(message.format);
  }
  EXPECT_EQ(
      formats,
      (Lines{"Inside CreateZintShortcut", "Inside GetZintShortcutPath | Zint shortcut path: %s",
             "Inside DeleteZintShortcut", "Inside GetZintShortcutPath | Zint shortcut path: %s",
             "Inside DeleteZintShortcut | Successfully deleted Zint shortcut at path %s",
             "Inside CreateZintShortcut | Creating Zint shortcut folder at %s",
             "Inside CreateZintShortcut | Successfully created Zint shortcut at path: %s for %s"}));
}

TEST(CreateZintShortcut, WorksWithoutLogCall) {
  const test::MachineInFolder machine;
  EXPECT_TRUE(CreateZintShortcut(/*isUpdate=*/false));
  EXPECT_EQ(test::GetLink(machine.At(kLink)), machine.At(kBundle));
}

TEST(CreateZintShortcut, GivesTheFolderTheSystemsDefaults) {
  const test::MachineInFolder machine;
  const test::ScopedUmask mask(027);
  EXPECT_TRUE(CreateZintShortcut(/*isUpdate=*/false));
  EXPECT_EQ(test::GetMode(machine.At(kFolder)), mode_t{0750});
}

TEST(CreateZintShortcut, RenewsTheLinkOnASecondInstall) {
  const test::MachineInFolder machine;
  test::MakeDirs(machine.At(kBundle));
  EXPECT_TRUE(CreateZintShortcut(/*isUpdate=*/false));
  const test::Tree before = test::ReadTree(machine.folder.Path());
  const test::ScopedRecordingLogCall logCall;
  EXPECT_TRUE(CreateZintShortcut(/*isUpdate=*/false));
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(machine.folder.Path())), Lines{});
  EXPECT_EQ(IconCalls(machine), (Lines{TheIconCall(machine), TheIconCall(machine)}));
  EXPECT_EQ(Messages(),
            (Lines{"10 Inside CreateZintShortcut",
                   "30 Inside GetZintShortcutPath | Zint shortcut path: " + machine.At(kLink),
                   "10 Inside DeleteZintShortcut",
                   "30 Inside GetZintShortcutPath | Zint shortcut path: " + machine.At(kLink),
                   "30 Inside DeleteZintShortcut | Successfully deleted Zint shortcut at path " +
                       machine.At(kLink),
                   "30 Inside CreateZintShortcut | Successfully created Zint shortcut at path: " +
                       machine.At(kLink) + " for " + machine.At(kBundle)}));
}

TEST(CreateZintShortcut, ReplacesALinkThatLeadsElsewhere) {
  const test::MachineInFolder machine;
  test::PutFile(machine.At("elsewhere/file"), "kept");
  test::MakeDirs(machine.At(kFolder));
  test::MakeLink(machine.At(kLink), machine.At("elsewhere"));
  EXPECT_TRUE(CreateZintShortcut(/*isUpdate=*/false));
  EXPECT_EQ(test::GetLink(machine.At(kLink)), machine.At(kBundle));
  EXPECT_EQ(test::GetFile(machine.At("elsewhere/file")), "kept");
}

TEST(CreateZintShortcut, ReplacesAFileAndAnEmptyFolder) {
  const struct {
    const char* name;
    std::function<void(const std::string&)> make;
  } rows[] = {
      {"file", [](const std::string& path) { test::PutFile(path, "old"); }},
      {"empty folder", [](const std::string& path) { test::MakeDirs(path); }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const test::MachineInFolder machine;
    test::MakeDirs(machine.At(kFolder));
    row.make(machine.At(kLink));
    EXPECT_TRUE(CreateZintShortcut(/*isUpdate=*/false));
    EXPECT_EQ(test::GetLink(machine.At(kLink)), machine.At(kBundle));
  }
}

TEST(CreateZintShortcut, LeavesAFullFolderInItsPlaceAndFails) {
  const test::MachineInFolder machine;
  const test::ScopedRecordingLogCall logCall;
  test::PutFile(machine.At(std::string(kLink) + "/file"), "kept");
  const test::Tree before = test::ReadTree(machine.folder.Path());
  EXPECT_FALSE(CreateZintShortcut(/*isUpdate=*/false));
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(machine.folder.Path())), Lines{});
  EXPECT_EQ(IconCalls(machine), Lines{TheIconCall(machine)});
  EXPECT_EQ(Messages(),
            (Lines{"10 Inside CreateZintShortcut",
                   "30 Inside GetZintShortcutPath | Zint shortcut path: " + machine.At(kLink),
                   "10 Inside DeleteZintShortcut",
                   "30 Inside GetZintShortcutPath | Zint shortcut path: " + machine.At(kLink),
                   "10 Inside DeleteZintShortcut | Unable to delete Zint shortcut at path " +
                       machine.At(kLink),
                   "40 Inside CreateZintShortcut | Directory already present at path " +
                       machine.At(kLink)}));
  EXPECT_EQ(test::RecordedCalls().back().format,
            "Inside CreateZintShortcut | Directory already present at path %s");
}

TEST(CreateZintShortcut, IsStoppedByADanglingLinkAndStillTrue) {
  const test::MachineInFolder machine;
  const test::ScopedRecordingLogCall logCall;
  test::MakeDirs(machine.At(kFolder));
  test::MakeLink(machine.At(kLink), machine.At("nowhere"));
  EXPECT_TRUE(CreateZintShortcut(/*isUpdate=*/false));
  EXPECT_EQ(test::GetLink(machine.At(kLink)), machine.At("nowhere"));
  EXPECT_EQ(Messages(),
            (Lines{"10 Inside CreateZintShortcut",
                   "30 Inside GetZintShortcutPath | Zint shortcut path: " + machine.At(kLink),
                   "10 Inside DeleteZintShortcut",
                   "30 Inside GetZintShortcutPath | Zint shortcut path: " + machine.At(kLink),
                   "30 Inside DeleteZintShortcut | Successfully deleted Zint shortcut at path " +
                       machine.At(kLink),
                   "50 Inside CreateZintShortcut | Unable to create Zint shortcut at path: " +
                       machine.At(kLink) + " for " + machine.At(kBundle)}));
  EXPECT_EQ(test::RecordedCalls().back().format,
            "Inside CreateZintShortcut | Unable to create Zint shortcut at path: %s for %s");
}

TEST(CreateZintShortcut, FailsWhereTheFolderCannotBeMade) {
  test::MachineInFolder machine;
  test::PutFile(machine.At("blocked"), "in the way");
  machine.host.directories.folders[{2, 1}] = machine.At("blocked");
  const test::ScopedRecordingLogCall logCall;
  const test::Tree before = test::ReadTree(machine.folder.Path());
  EXPECT_FALSE(CreateZintShortcut(/*isUpdate=*/false));
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(machine.folder.Path())), Lines{});
  EXPECT_EQ(IconCalls(machine), Lines{});
  EXPECT_EQ(Messages(),
            (Lines{"10 Inside CreateZintShortcut",
                   "30 Inside GetZintShortcutPath | Zint shortcut path: " +
                       machine.At("blocked/Velmora Caldris/Velmora Caldris"),
                   "10 Inside DeleteZintShortcut",
                   "30 Inside GetZintShortcutPath | Zint shortcut path: " +
                       machine.At("blocked/Velmora Caldris/Velmora Caldris"),
                   "30 Inside DeleteZintShortcut | Successfully deleted Zint shortcut at path " +
                       machine.At("blocked/Velmora Caldris/Velmora Caldris"),
                   "10 Inside CreateZintShortcut | Creating Zint shortcut folder at " +
                       machine.At("blocked/Velmora Caldris"),
                   "50 Inside CreateZintShortcut | Unable to create Zint shortcut folder at " +
                       machine.At("blocked/Velmora Caldris")}));
  EXPECT_EQ(test::RecordedCalls().back().format,
            "Inside CreateZintShortcut | Unable to create Zint shortcut folder at %s");
}

TEST(CreateZintShortcut, TakesAFileOfTheFoldersNameForTheFolder) {
  const test::MachineInFolder machine;
  test::PutFile(machine.At(kFolder), "in the way");
  const test::ScopedRecordingLogCall logCall;
  EXPECT_TRUE(CreateZintShortcut(/*isUpdate=*/false));
  EXPECT_EQ(test::GetFile(machine.At(kFolder)), "in the way");
  EXPECT_EQ(IconCalls(machine), Lines{TheIconCall(machine)});
  EXPECT_EQ(Messages().back(),
            "50 Inside CreateZintShortcut | Unable to create Zint shortcut at path: " +
                machine.At(kLink) + " for " + machine.At(kBundle));
}

TEST(CreateZintShortcut, FailsWithoutApplicationsFolder) {
  const test::FakeHost host;
  const test::ScopedRecordingLogCall logCall;
  EXPECT_FALSE(CreateZintShortcut(/*isUpdate=*/false));
  EXPECT_EQ(host.calls, test::CallRecord{"FindDirectory(2,1)"});
  EXPECT_EQ(Messages(),
            (Lines{"10 Inside CreateZintShortcut",
                   "50 Inside GetZintShortcutPath | Unable to get the Zint shortcut path"}));
}

TEST(CreateZintShortcut, DoesNotCareWhetherTheIconWasTaken) {
  for (const bool result : {false, true}) {
    SCOPED_TRACE(result);
    test::MachineInFolder machine;
    machine.host.desktop.result = result;
    const test::ScopedRecordingLogCall logCall;
    EXPECT_TRUE(CreateZintShortcut(/*isUpdate=*/false));
    EXPECT_EQ(test::GetLink(machine.At(kLink)), machine.At(kBundle));
    EXPECT_EQ(Messages().size(), 7U);
  }
}

TEST(CreateZintShortcut, TakesTheIconFromBesideTheBundleOfTheProgram) {
  test::MachineInFolder machine;
  machine.host.info.executable = machine.At("Installer/Hook.app/Contents/MacOS/ZintCustomHook");
  machine.host.info.bundle = machine.At("Installer/Hook.app");
  EXPECT_TRUE(CreateZintShortcut(/*isUpdate=*/false));
  EXPECT_EQ(IconCalls(machine), Lines{TheIconCall(machine)});
}

TEST(CreateZintShortcut, AsksForAnIconOfNoNameWhereTheProgramIsUnknown) {
  test::MachineInFolder machine;
  machine.host.info.executable.reset();
  machine.host.info.bundle.reset();
  EXPECT_TRUE(CreateZintShortcut(/*isUpdate=*/false));
  EXPECT_EQ(IconCalls(machine), Lines{"SetFolderIcon(," + machine.At(kFolder) + ")"});
}

// Looks at the machine while the icon is being set.
class WatchingDesktop final : public platform::Desktop {
 public:
  explicit WatchingDesktop(std::function<void()> look) : look_(std::move(look)) {}
  bool SetFolderIcon(const std::string& /*iconFile*/, const std::string& /*folder*/) override {
    look_();
    return true;
  }

 private:
  std::function<void()> look_;
};

TEST(CreateZintShortcut, SetsTheIconBetweenFolderAndLink) {
  const test::MachineInFolder machine;
  bool isFolderThere = false;
  bool isLinkThere = true;
  WatchingDesktop desktop([&] {
    isFolderThere = test::IsThere(machine.At(kFolder));
    isLinkThere = test::IsThere(machine.At(kLink));
  });
  platform::ScopedHost host;
  host->desktop = &desktop;
  EXPECT_TRUE(CreateZintShortcut(/*isUpdate=*/false));
  EXPECT_TRUE(isFolderThere);
  EXPECT_FALSE(isLinkThere);
}

TEST(CreateZintShortcut, DoesTheSameForAnUpdate) {
  std::vector<Lines> messages;
  std::vector<test::Tree> trees;
  const test::MachineInFolder machine;
  test::MakeDirs(machine.At(kBundle));
  EXPECT_TRUE(CreateZintShortcut(/*isUpdate=*/false));
  for (const bool isUpdate : {false, true}) {
    const test::ScopedRecordingLogCall logCall;
    EXPECT_TRUE(CreateZintShortcut(isUpdate));
    messages.push_back(Messages());
    trees.push_back(test::ReadTree(machine.folder.Path()));
  }
  EXPECT_EQ(messages[0], messages[1]);
  EXPECT_EQ(trees[0], trees[1]);
}

TEST(CreateZintShortcut, LogsTheShortcutPathTwice) {
  const test::MachineInFolder machine;
  const test::ScopedRecordingLogCall logCall;
  EXPECT_TRUE(CreateZintShortcut(/*isUpdate=*/false));
  const Lines messages = Messages();
  EXPECT_EQ(std::count(messages.begin(), messages.end(),
                       "30 Inside GetZintShortcutPath | Zint shortcut path: " + machine.At(kLink)),
            2);
}

TEST(DeleteZintShortcut, RemovesTheLinkAndLeavesFolderIconAndBundle) {
  const test::MachineInFolder machine;
  test::PutFile(machine.At(kBundle) + "/Contents/Info.plist", "kept");
  test::PutFile(machine.At(kFolder) + "/.folder-icon.png", "kept");
  const test::Tree before = test::ReadTree(machine.folder.Path());
  test::MakeLink(machine.At(kLink), machine.At(kBundle));
  const test::ScopedRecordingLogCall logCall;
  EXPECT_TRUE(DeleteZintShortcut(/*isUpdate=*/false, /*flag=*/1));
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(machine.folder.Path())), Lines{});
  EXPECT_EQ(IconCalls(machine), Lines{});
  EXPECT_EQ(Messages(),
            (Lines{"10 Inside DeleteZintShortcut",
                   "30 Inside GetZintShortcutPath | Zint shortcut path: " + machine.At(kLink),
                   "30 Inside DeleteZintShortcut | Successfully deleted Zint shortcut at path " +
                       machine.At(kLink)}));
}

TEST(DeleteZintShortcut, SucceedsWhereThereIsNoLink) {
  const test::MachineInFolder machine;
  const test::ScopedRecordingLogCall logCall;
  const test::Tree before = test::ReadTree(machine.folder.Path());
  EXPECT_TRUE(DeleteZintShortcut(/*isUpdate=*/false, /*flag=*/1));
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(machine.folder.Path())), Lines{});
  EXPECT_EQ(Messages(),
            (Lines{"10 Inside DeleteZintShortcut",
                   "30 Inside GetZintShortcutPath | Zint shortcut path: " + machine.At(kLink),
                   "30 Inside DeleteZintShortcut | Successfully deleted Zint shortcut at path " +
                       machine.At(kLink)}));
}

TEST(DeleteZintShortcut, LeavesADanglingLinkAndReportsSuccess) {
  const test::MachineInFolder machine;
  const test::ScopedRecordingLogCall logCall;
  test::MakeDirs(machine.At(kFolder));
  test::MakeLink(machine.At(kLink), machine.At("nowhere"));
  EXPECT_TRUE(DeleteZintShortcut(/*isUpdate=*/false, /*flag=*/1));
  EXPECT_EQ(test::GetLink(machine.At(kLink)), machine.At("nowhere"));
  EXPECT_EQ(Messages(),
            (Lines{"10 Inside DeleteZintShortcut",
                   "30 Inside GetZintShortcutPath | Zint shortcut path: " + machine.At(kLink),
                   "30 Inside DeleteZintShortcut | Successfully deleted Zint shortcut at path " +
                       machine.At(kLink)}));
}

TEST(DeleteZintShortcut, ReportsAFullFolderAsTrace) {
  const test::MachineInFolder machine;
  const test::ScopedRecordingLogCall logCall;
  test::PutFile(machine.At(std::string(kLink) + "/file"), "kept");
  EXPECT_FALSE(DeleteZintShortcut(/*isUpdate=*/false, /*flag=*/1));
  EXPECT_EQ(test::GetFile(machine.At(std::string(kLink) + "/file")), "kept");
  EXPECT_EQ(Messages(),
            (Lines{"10 Inside DeleteZintShortcut",
                   "30 Inside GetZintShortcutPath | Zint shortcut path: " + machine.At(kLink),
                   "10 Inside DeleteZintShortcut | Unable to delete Zint shortcut at path " +
                       machine.At(kLink)}));
  EXPECT_EQ(test::RecordedCalls().back().format,
            "Inside DeleteZintShortcut | Unable to delete Zint shortcut at path %s");
}

TEST(DeleteZintShortcut, ReportsALinkThatWillNotGoAsTrace) {
  const test::MachineInFolder machine;
  const test::ScopedRecordingLogCall logCall;
  test::MakeDirs(machine.At(kFolder));
  test::MakeDirs(machine.At(kBundle));
  test::MakeLink(machine.At(kLink), machine.At(kBundle));
  platform::ScopedSystemCalls calls;
  calls->remove = [](const char*) {
    errno = EIO;
    return -1;
  };
  EXPECT_FALSE(DeleteZintShortcut(/*isUpdate=*/false, /*flag=*/1));
  EXPECT_EQ(test::GetLink(machine.At(kLink)), machine.At(kBundle));
  EXPECT_EQ(
      Messages().back(),
      "10 Inside DeleteZintShortcut | Unable to delete Zint shortcut at path " + machine.At(kLink));
}

TEST(DeleteZintShortcut, FailsWithoutApplicationsFolder) {
  const test::FakeHost host;
  const test::ScopedRecordingLogCall logCall;
  EXPECT_FALSE(DeleteZintShortcut(/*isUpdate=*/false, /*flag=*/1));
  EXPECT_EQ(host.calls, test::CallRecord{"FindDirectory(2,1)"});
  EXPECT_EQ(Messages(),
            (Lines{"10 Inside DeleteZintShortcut",
                   "50 Inside GetZintShortcutPath | Unable to get the Zint shortcut path"}));
}

TEST(DeleteZintShortcut, DoesTheSameForEveryArgument) {
  const struct {
    bool isUpdate;
    int flag;
  } rows[] = {{false, 0}, {false, 1}, {true, 0}, {true, 1}, {true, -1}};
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.isUpdate << ", " << row.flag);
    const test::MachineInFolder machine;
    test::MakeDirs(machine.At(kFolder));
    test::MakeDirs(machine.At(kBundle));
    test::MakeLink(machine.At(kLink), machine.At(kBundle));
    const test::ScopedRecordingLogCall logCall;
    EXPECT_TRUE(DeleteZintShortcut(row.isUpdate, row.flag));
    EXPECT_FALSE(test::IsThere(machine.At(kLink)));
    EXPECT_TRUE(test::IsThere(machine.At(kFolder)));
    EXPECT_EQ(Messages(),
              (Lines{"10 Inside DeleteZintShortcut",
                     "30 Inside GetZintShortcutPath | Zint shortcut path: " + machine.At(kLink),
                     "30 Inside DeleteZintShortcut | Successfully deleted Zint shortcut at path " +
                         machine.At(kLink)}));
  }
}

}  // namespace
}  // namespace hook
