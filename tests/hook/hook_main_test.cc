#include "hook/hook_main.h"

#include <csignal>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "fileutils/log_hooks.h"
#include "platform/desktop.h"
#include "platform/host_for_testing.h"
#include "platform/system_calls_for_testing.h"
#include "tests/hook/machine_in_folder.h"
#include "tests/support/files.h"
#include "tests/support/known_faults.h"
#include "tests/support/recording_logger.h"
#include "tests/support/run_in_root.h"
#include "tests/support/tree.h"

namespace hook {
namespace {

using Lines = std::vector<std::string>;

constexpr const char* kManifest =
    "Library/Application Support/Velmora/Pellan/specifiers/caldris.xml";
constexpr const char* kLink = "Applications/Velmora Caldris/Velmora Caldris";
constexpr const char* kBundle = "Applications/Utilities/Velmora Caldris/Ixer/Caldris.app";
constexpr const char* kCefFile = "Applications/Utilities/Velmora Caldris/CEF/file";

int RunHook(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "/Installer/ZintCustomHook");
  std::vector<char*> argv;
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  return HookMain(static_cast<int>(arguments.size()), argv.data());
}

// Leaves on the machine what an install left once, and a CEF folder.
void PutOldInstall(const test::MachineInFolder& machine) {
  test::PutFile(machine.At(kManifest), "old");
  test::MakeDirs(machine.At(kBundle));
  test::MakeDirs(machine.At("Applications/Velmora Caldris"));
  test::MakeLink(machine.At(kLink), machine.At(kBundle));
  test::PutFile(machine.At(kCefFile), "old");
}

TEST(ChooseBranch, InstallsForExactlyOne) {
  const struct {
    std::optional<std::string> value;
    Branch branch;
  } rows[] = {
      {std::nullopt, Branch::kRemove}, {"", Branch::kRemove},     {"1", Branch::kInstall},
      {"0", Branch::kRemove},          {"11", Branch::kRemove},   {"01", Branch::kRemove},
      {" 1", Branch::kRemove},         {"1 ", Branch::kRemove},   {"+1", Branch::kRemove},
      {"yes", Branch::kRemove},        {"true", Branch::kRemove},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(ChooseBranch(row.value), row.branch) << row.value.value_or("absent");
  }
}

TEST(IsUpdate, IsSoForExactlyTrue) {
  EXPECT_TRUE(IsUpdate("true"));
  const std::optional<std::string> others[] = {std::nullopt, "",      "1",     "True", "TRUE",
                                               "true ",      " true", "true1", "yes",  "t"};
  for (const auto& value : others) {
    EXPECT_FALSE(IsUpdate(value)) << value.value_or("absent");
  }
}

// What the install actions log from their first message to the last, `created` being that of
// a folder which was missing.
Lines InstallMessages(const test::MachineInFolder& machine, const Lines& created) {
  Lines messages = {
      "30 Inside CreatePellanSpecifierFile | Successfully created Ixer Pellan Specifier file at " +
          machine.At(kManifest),
      "10 Inside CreateZintShortcut",
      "30 Inside GetZintShortcutPath | Zint shortcut path: " + machine.At(kLink),
      "10 Inside DeleteZintShortcut",
      "30 Inside GetZintShortcutPath | Zint shortcut path: " + machine.At(kLink),
      "30 Inside DeleteZintShortcut | Successfully deleted Zint shortcut at path " +
          machine.At(kLink)};
  messages.insert(messages.end(), created.begin(), created.end());
  messages.push_back("30 Inside CreateZintShortcut | Successfully created Zint shortcut at path: " +
                     machine.At(kLink) + " for " + machine.At(kBundle));
  return messages;
}

TEST(RunInstallActions, LogsTheseMessagesOnAFreshMachine) {
  const test::MachineInFolder machine;
  const test::ScopedRecordingLogCall logCall;
  RunInstallActions(/*isUpdate=*/false);
  EXPECT_EQ(
      test::LevelsAndMessages(test::RecordedCalls()),
      InstallMessages(machine, {"10 Inside CreateZintShortcut | Creating Zint shortcut folder at " +
                                machine.At("Applications/Velmora Caldris")}));
}

TEST(RunInstallActions, LogsTheseMessagesOnASecondInstall) {
  const test::MachineInFolder machine;
  PutOldInstall(machine);
  for (const bool isUpdate : {false, true}) {
    SCOPED_TRACE(isUpdate);
    const test::ScopedRecordingLogCall logCall;
    RunInstallActions(isUpdate);
    EXPECT_EQ(test::LevelsAndMessages(test::RecordedCalls()), InstallMessages(machine, {}));
  }
}

TEST(RunRemovalActions, LogsTheseMessages) {
  for (const bool isUpdate : {false, true}) {
    SCOPED_TRACE(isUpdate);
    const test::MachineInFolder machine;
    PutOldInstall(machine);
    const test::ScopedRecordingLogCall logCall;
    RunRemovalActions(isUpdate);
    EXPECT_EQ(
        test::LevelsAndMessages(test::RecordedCalls()),
        (Lines{"30 Inside DeletePellanSpecifierFile | Successfully deleted pellan Specifier file "
               "at " +
                   machine.At(kManifest),
               "10 Inside DeleteZintShortcut",
               "30 Inside GetZintShortcutPath | Zint shortcut path: " + machine.At(kLink),
               "30 Inside DeleteZintShortcut | Successfully deleted Zint shortcut at path " +
                   machine.At(kLink)}));
  }
}

TEST(HookMain, InstallsOrRemovesByItsArguments) {
  const struct {
    const char* name;
    Lines arguments;
    bool isInstall;
  } rows[] = {
      {"none", {}, false},
      {"1", {"--install=1"}, true},
      {"1, update", {"--install=1", "--update=true"}, true},
      {"update, 1", {"--update=true", "--install=1"}, true},
      {"1, capital update", {"--install=1", "--update=TRUE"}, true},
      {"capital update", {"--update=TRUE"}, false},
      {"update", {"--update=true"}, false},
      {"true", {"--install=true"}, false},
      {"01", {"--install=01"}, false},
      {"11", {"--install=11"}, false},
      {"blank before", {"--install= 1"}, false},
      {"blank after", {"--install=1 "}, false},
      {"0", {"--install=0"}, false},
      {"empty", {"--install="}, false},
      {"no value", {"--install"}, false},
      {"first of two is 0", {"--install=0", "--install=1"}, false},
      {"first of two is 1", {"--install=1", "--install=0"}, true},
      {"capital", {"--Install=1"}, false},
      {"capital and small", {"--Install=0", "--install=1"}, true},
      {"no hyphens", {"install=1"}, false},
      {"one hyphen", {"-install=1"}, false},
      {"two arguments", {"--install", "1"}, false},
      {"after bad ones", {"bad", "--", "-psn_0_1", "--install=1"}, true},
      {"empty argument", {""}, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const test::MachineInFolder machine;
    PutOldInstall(machine);
    test::RunInChild([&] { EXPECT_EQ(RunHook(row.arguments), 0); });
    if (row.isInstall) {
      EXPECT_EQ(test::GetFile(machine.At(kManifest)).value_or("").rfind("<?xml", 0), 0U);
      EXPECT_EQ(test::GetLink(machine.At(kLink)), machine.At(kBundle));
      EXPECT_FALSE(test::IsThere(machine.At("Applications/Utilities/Velmora Caldris/CEF")));
    } else {
      EXPECT_FALSE(test::IsThere(machine.At(kManifest)));
      EXPECT_FALSE(test::IsThere(machine.At(kLink)));
      EXPECT_EQ(test::GetFile(machine.At(kCefFile)), "old");
    }
  }
}

TEST(HookMain, RemovesWhereEvenTheProgramsPathIsMissing) {
  const test::MachineInFolder machine;
  PutOldInstall(machine);
  test::RunInChild([] {
    char* argv[] = {nullptr};
    EXPECT_EQ(HookMain(0, argv), 0);
  });
  EXPECT_FALSE(test::IsThere(machine.At(kManifest)));
  EXPECT_FALSE(test::IsThere(machine.At(kLink)));
}

TEST(HookMain, LeavesThisAfterAnInstallOnAFreshMachine) {
  const test::MachineInFolder machine;
  const test::Tree before = test::ReadTree(machine.folder.Path());
  test::RunInChild([] { EXPECT_EQ(RunHook({"--install=1"}), 0); });
  EXPECT_EQ(
      test::CompareTrees(before, test::ReadTree(machine.folder.Path())),
      (Lines{"+ Applications/Velmora Caldris", "+ Applications/Velmora Caldris/Velmora Caldris",
             "+ Library/Application Support/Velmora",
             "+ Library/Application Support/Velmora/Pellan",
             "+ Library/Application Support/Velmora/Pellan/specifiers",
             "+ Library/Application Support/Velmora/Pellan/specifiers/caldris.xml",
             "+ Users/mia/Library", "+ Users/mia/Library/Logs", "+ Users/mia/Library/Logs/Caldris",
             "+ Users/mia/Library/Logs/Caldris/Ixer",
             "+ Users/mia/Library/Logs/Caldris/Ixer/Ixer.log"}));
  EXPECT_EQ(test::GetFile(machine.At(kManifest)),
            "<?xml version=\"1.0\"?><SpecifierManifest Version=\"1.0\"><Name>caldris</Name>"
            "<Version>6.7.0</Version><Locale></Locale><Group></Group><Path>" +
                machine.At(kBundle) + "</Path></SpecifierManifest>");
  EXPECT_EQ(test::GetLink(machine.At(kLink)), machine.At(kBundle));
}

TEST(HookMain, LeavesTheFoldersOnRemoval) {
  const test::MachineInFolder machine;
  test::MakeDirs(machine.At(kBundle));
  test::RunInChild([] { EXPECT_EQ(RunHook({"--install=1"}), 0); });
  const test::Tree before = test::ReadTree(machine.folder.Path());
  test::RunInChild([] { EXPECT_EQ(RunHook({}), 0); });
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(machine.folder.Path())),
            (Lines{"- Applications/Velmora Caldris/Velmora Caldris",
                   "- Library/Application Support/Velmora/Pellan/specifiers/caldris.xml",
                   "~ Users/mia/Library/Logs/Caldris/Ixer/Ixer.log"}));
}

// Looks at the machine while the icon is being set: amid the middle one of the three actions.
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

TEST(HookMain, WritesTheManifestBeforeTheShortcutAndCleansUpAtLast) {
  const test::MachineInFolder machine;
  test::PutFile(machine.At(kCefFile), "old");
  test::RunInChild([&] {
    int lookCount = 0;
    WatchingDesktop desktop([&] {
      ++lookCount;
      EXPECT_TRUE(test::IsThere(machine.At(kManifest)));
      EXPECT_FALSE(test::IsThere(machine.At(kLink)));
      EXPECT_TRUE(test::IsThere(machine.At(kCefFile)));
    });
    platform::ScopedHost host;
    host->desktop = &desktop;
    EXPECT_EQ(RunHook({"--install=1"}), 0);
    EXPECT_EQ(lookCount, 1);
  });
  EXPECT_TRUE(test::IsThere(machine.At(kLink)));
  EXPECT_FALSE(test::IsThere(machine.At(kCefFile)));
}

TEST(HookMain, RemovesTheManifestBeforeTheShortcut) {
  const test::MachineInFolder machine;
  PutOldInstall(machine);
  test::RunInChild([&] {
    static Lines removed;
    platform::ScopedSystemCalls calls;
    calls->remove = [](const char* path) {
      removed.emplace_back(path);
      return 0;
    };
    EXPECT_EQ(RunHook({}), 0);
    EXPECT_EQ(removed, (Lines{machine.At(kManifest), machine.At(kLink)}));
  });
}

TEST(HookMain, EndsWithZeroThoughEveryInstallActionFails) {
  test::MachineInFolder machine;
  test::PutFile(machine.At("blocked"), "in the way");
  machine.host.directories.folders[{2, 1}] = machine.At("blocked");
  machine.host.directories.folders[{2, 14}] = machine.At("blocked");
  test::PutFile(machine.At("Users/mia/Library/Logs"), "in the way of a log");
  const test::Tree before = test::ReadTree(machine.folder.Path());
  test::RunInChild([] { EXPECT_EQ(RunHook({"--install=1"}), 0); });
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(machine.folder.Path())), Lines{});
}

TEST(HookMain, EndsWithZeroThoughEveryRemovalActionFails) {
  const test::MachineInFolder machine;
  test::PutFile(machine.At(std::string(kManifest) + "/file"), "kept");
  test::PutFile(machine.At(std::string(kLink) + "/file"), "kept");
  test::PutFile(machine.At("Users/mia/Library/Logs"), "in the way of a log");
  const test::Tree before = test::ReadTree(machine.folder.Path());
  test::RunInChild([] { EXPECT_EQ(RunHook({}), 0); });
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(machine.folder.Path())), Lines{});
}

TEST(HookMain, RunsTheLaterActionsThoughTheFirstFails) {
  test::MachineInFolder machine;
  test::PutFile(machine.At("blocked"), "in the way");
  machine.host.directories.folders[{2, 14}] = machine.At("blocked");
  PutOldInstall(machine);
  test::RunInChild([] { EXPECT_EQ(RunHook({"--install=1"}), 0); });
  EXPECT_EQ(test::GetLink(machine.At(kLink)), machine.At(kBundle));
  EXPECT_FALSE(test::IsThere(machine.At(kCefFile)));
}

TEST(HookMain, MakesTheProcessFitBeforeItActs) {
  const test::MachineInFolder machine;
  test::RunInChild([] {
    umask(0);
    ASSERT_NE(std::signal(SIGPIPE, SIG_DFL), SIG_ERR);
    const int spareInput = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 100);
    close(STDIN_FILENO);
    const int status = RunHook({"--install=1"});
    const bool isInputOpen = fcntl(STDIN_FILENO, F_GETFD) != -1;
    dup2(spareInput, STDIN_FILENO);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(isInputOpen);
    EXPECT_EQ(std::signal(SIGPIPE, SIG_DFL), SIG_IGN);
  });
  if (!test::HasFault(test::Fault::kMakesFilesFor0644)) {
    EXPECT_EQ(test::GetMode(machine.At(kManifest)), mode_t{0664});
  }
  EXPECT_EQ(test::GetMode(machine.At("Applications/Velmora Caldris")), mode_t{0775});
}

TEST(HookMain, NeverSetsTheLogsOfTheUtilities) {
  const test::MachineInFolder machine;
  PutOldInstall(machine);
  test::RunInChild([] {
    for (const Lines& arguments : {Lines{"--install=1"}, Lines{}}) {
      EXPECT_EQ(RunHook(arguments), 0);
      EXPECT_EQ(fileutils::LogHook(), nullptr);
      EXPECT_EQ(fileutils::DefaultLogger(), nullptr);
    }
  });
}

TEST(HookMain, PrintsNothing) {
  const test::MachineInFolder machine;
  PutOldInstall(machine);
  const std::string output = machine.At("output");
  test::RunInChild([&] {
    const int spareOutput = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 100);
    const int spareErrors = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 100);
    const int file = open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    dup2(file, STDOUT_FILENO);
    dup2(file, STDERR_FILENO);
    const int installStatus = RunHook({"--install=1", "bad"});
    const int removalStatus = RunHook({"bad"});
    dup2(spareOutput, STDOUT_FILENO);
    dup2(spareErrors, STDERR_FILENO);
    EXPECT_EQ(installStatus, 0);
    EXPECT_EQ(removalStatus, 0);
  });
  EXPECT_EQ(test::GetFile(output), "");
}

}  // namespace
}  // namespace hook
