#include "log/log_setup.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "log/api/level.h"
#include "log/file_stream.h"
#include "log/log_target_for_testing.h"
#include "platform/console_user.h"
#include "platform/directory_lookup.h"
#include "platform/host_for_testing.h"
#include "platform/process_identity.h"
#include "platform/system_calls_for_testing.h"
#include "platform/unique_fd.h"
#include "tests/log/real_console_user.h"
#include "tests/log/recording_target.h"
#include "tests/support/fake_host.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"
#include "tests/support/tree.h"

namespace {

using dunmar::ChooseLevel;
using dunmar::LevelMarker;
using dunmar::LogLevel;
using dunmar::LogTargetForTesting;
using test::CallRecord;
using test::RecordingTarget;

const platform::ConsoleUser kMia = {.name = "mia", .uid = 501, .gid = 20};

// A machine with a logs folder for markers, made as anybody else would.
struct Machine : test::LogMachine {
  std::string logs = folder.Join("home/Library/Logs");
  std::string product = logs + "/Caldris/Ixer";
};

// The home as the console user, for a process of root's.
const CallRecord kHomeAsMia = {"GetConsoleUser", "SetEffectiveUser(501)", "GetConsoleUser",
                               "HomeDirectory", "SetEffectiveUser(0)"};
// The home with nobody at the console, and for a process of the console user's.
const CallRecord kHomeWithoutSwitch = {"GetConsoleUser", "GetConsoleUser", "HomeDirectory"};

CallRecord Join(const std::vector<CallRecord>& parts) {
  CallRecord joined;
  for (const CallRecord& part : parts) joined.insert(joined.end(), part.begin(), part.end());
  return joined;
}

class ThrowingDirectories final : public platform::DirectoryLookup {
 public:
  [[nodiscard]] bool FindDirectory(unsigned long, unsigned long, std::string*) override { throw 1; }
  [[nodiscard]] std::optional<std::string> HomeDirectory() override { throw 1; }
  [[nodiscard]] bool HomeDirectoryForUser(const std::string&, std::string*) override { throw 1; }
};

// The home.

TEST(GetHomeAsConsoleUser, LooksItUpAsTheConsoleUser) {
  Machine machine;
  machine.host.console.user = kMia;
  std::string home = "before";
  EXPECT_TRUE(dunmar::GetHomeAsConsoleUser(home));
  EXPECT_EQ(home, machine.folder.Join("home"));
  EXPECT_EQ(machine.host.calls, kHomeAsMia);
  EXPECT_EQ(machine.host.identity.user, 0U);
}

TEST(GetHomeAsConsoleUser, SwitchesNeitherWayForTheConsoleUser) {
  Machine machine;
  machine.host.console.user = kMia;
  machine.host.identity.user = 501;
  std::string home = "before";
  EXPECT_TRUE(dunmar::GetHomeAsConsoleUser(home));
  EXPECT_EQ(home, machine.folder.Join("home"));
  EXPECT_EQ(machine.host.calls, kHomeWithoutSwitch);
}

TEST(GetHomeAsConsoleUser, DoesNotSwitchWithNobodyAtTheConsole) {
  const std::optional<platform::ConsoleUser> nobodies[] = {
      std::nullopt,
      {{.name = "", .uid = 501, .gid = 20}},
      {{.name = "loginwindow", .uid = 88, .gid = 88}},
  };
  for (const auto& nobody : nobodies) {
    SCOPED_TRACE(nobody ? nobody->name : "no answer");
    Machine machine;
    machine.host.console.user = nobody;
    std::string home = "before";
    EXPECT_TRUE(dunmar::GetHomeAsConsoleUser(home));
    EXPECT_EQ(home, machine.folder.Join("home"));
    EXPECT_EQ(machine.host.calls, kHomeWithoutSwitch);
  }
}

TEST(GetHomeAsConsoleUser, FailsWhereTheSwitchIsRefused) {
  Machine machine;
  machine.host.console.user = kMia;
  machine.host.identity.user = 1000;
  machine.host.identity.error = EPERM;
  std::string home = "before";
  EXPECT_FALSE(dunmar::GetHomeAsConsoleUser(home));
  EXPECT_EQ(home, "before");
  EXPECT_EQ(machine.host.calls, (CallRecord{"GetConsoleUser", "SetEffectiveUser(501)"}));
}

TEST(GetHomeAsConsoleUser, SwitchesBackWhenTheLookupThrows) {
  Machine machine;
  machine.host.console.user = kMia;
  ThrowingDirectories directories;
  platform::ScopedHost host;
  host->directories = &directories;
  std::string home;
  EXPECT_THROW((void)dunmar::GetHomeAsConsoleUser(home), int);
  EXPECT_EQ(machine.host.calls, (CallRecord{"GetConsoleUser", "SetEffectiveUser(501)",
                                            "GetConsoleUser", "SetEffectiveUser(0)"}));
}

// The logs folder, in both ways.

using LogsFolder = bool (*)(std::string&);
const struct {
  const char* name;
  LogsFolder find;
} kLogsFolders[] = {
    {"GetConsoleUserLogsFolder", dunmar::GetConsoleUserLogsFolder},
    {"GetLogsFolderAsConsoleUser", dunmar::GetLogsFolderAsConsoleUser},
};

TEST(LogsFolder, IsMadeWithItsParent) {
  for (const auto& row : kLogsFolders) {
    SCOPED_TRACE(row.name);
    const Machine machine;
    const test::ScopedUmask umask(0);
    std::string out = "before";
    EXPECT_TRUE(row.find(out));
    EXPECT_EQ(out, machine.logs);
    EXPECT_EQ(test::GetMode(machine.folder.Join("home/Library")), 0700U);
    EXPECT_EQ(test::GetMode(machine.logs), 0700U);
  }
}

TEST(LogsFolder, IsMadeInALibraryThatIsThere) {
  for (const auto& row : kLogsFolders) {
    SCOPED_TRACE(row.name);
    const Machine machine;
    test::MakeDirs(machine.folder.Join("home/Library"));
    std::string out;
    EXPECT_TRUE(row.find(out));
    EXPECT_EQ(out, machine.logs);
    EXPECT_EQ(test::GetMode(machine.folder.Join("home/Library")), 0755U);
    EXPECT_EQ(test::GetMode(machine.logs), 0700U);
  }
}

TEST(LogsFolder, IsLeftAsItIs) {
  for (const auto& row : kLogsFolders) {
    SCOPED_TRACE(row.name);
    const Machine machine;
    test::MakeDirs(machine.logs);
    std::string out;
    EXPECT_TRUE(row.find(out));
    EXPECT_EQ(out, machine.logs);
    EXPECT_EQ(test::GetMode(machine.logs), 0755U);
  }
}

TEST(LogsFolder, IsNotToBeHadWithoutAHome) {
  for (const auto& row : kLogsFolders) {
    SCOPED_TRACE(row.name);
    Machine machine;
    machine.host.directories.home = machine.folder.Join("missing");
    std::string out = "before";
    EXPECT_FALSE(row.find(out));
    EXPECT_EQ(out, "before");
    EXPECT_FALSE(test::IsThere(machine.folder.Join("missing")));
  }
}

TEST(LogsFolder, IsNotToBeHadBelowALibraryThatIsNoFolder) {
  for (const auto& row : kLogsFolders) {
    for (const bool isLink : {false, true}) {
      SCOPED_TRACE(std::string(row.name) + (isLink ? " link" : " file"));
      const Machine machine;
      if (isLink) {
        test::MakeLink(machine.folder.Join("home/Library"), "nothing");
      } else {
        test::PutFile(machine.folder.Join("home/Library"), "x");
      }
      std::string out = "before";
      EXPECT_FALSE(row.find(out));
      EXPECT_EQ(out, "before");
    }
  }
}

TEST(LogsFolder, IsWhateverIsThere) {
  for (const auto& row : kLogsFolders) {
    SCOPED_TRACE(row.name);
    const Machine machine;
    test::PutFile(machine.logs, "x");
    std::string out;
    EXPECT_TRUE(row.find(out));
    EXPECT_EQ(out, machine.logs);
  }
}

TEST(LogsFolder, IsFoundInAHomeOfAnyLength) {
  for (const auto& row : kLogsFolders) {
    SCOPED_TRACE(row.name);
    Machine machine;
    std::string& home = machine.host.directories.home;
    for (int i = 0; i < 4; ++i) home += "/" + std::string(200, 'h');
    test::MakeDirs(home);
    std::string out;
    EXPECT_TRUE(row.find(out));
    EXPECT_EQ(out, home + "/Library/Logs");
  }
}

TEST(LogsFolder, IsMadeByTheUserThatTheProcessIs) {
  for (const auto& row : kLogsFolders) {
    SCOPED_TRACE(row.name);
    Machine machine;
    machine.host.console.user = kMia;
    machine.host.directories.homes = {{"mia", machine.folder.Join("home")}};
    static test::FakeHost* host = nullptr;
    static std::vector<uid_t> makers;
    host = &machine.host;
    makers.clear();
    platform::ScopedSystemCalls calls;
    calls->mkdirat = [](int folder, const char* name, mode_t mode) {
      makers.push_back(host->identity.user);
      return ::mkdirat(folder, name, mode);
    };
    std::string out;
    EXPECT_TRUE(row.find(out));
    EXPECT_EQ(makers, (std::vector<uid_t>{0, 0}));
  }
}

// In a root folder of its own: without a home the paths begin at the top.
TEST(LogsFolder, IsNotToBeHadWhereTheHomeCannotBeTold) {
  if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  test::RunInRoot(root.Path(), [] {
    for (const auto& row : kLogsFolders) {
      SCOPED_TRACE(row.name);
      test::FakeHost host;
      host.directories.tellsHome = false;
      std::string out = "before";
      EXPECT_FALSE(row.find(out));
      EXPECT_EQ(out, "before");
    }
  });
  EXPECT_FALSE(test::IsThere(root.Join("Library")));
}

TEST(GetHomeAsConsoleUser, ChangesNothingWhereTheHomeCannotBeTold) {
  test::FakeHost host;
  host.console.user = kMia;
  host.directories.tellsHome = false;
  std::string home = "before";
  EXPECT_TRUE(dunmar::GetHomeAsConsoleUser(home));
  EXPECT_EQ(home, "before");
  EXPECT_EQ(host.calls, kHomeAsMia);
}

TEST(GetHomeAsConsoleUser, TriesTheWayBackThreeTimesMore) {
  // Refuses to become root again for some time, as a kernel without memory does.
  class ReluctantIdentity final : public platform::ProcessIdentity {
   public:
    uid_t user = 0;
    int refusals = 3;
    [[nodiscard]] uid_t EffectiveUser() override { return user; }
    [[nodiscard]] int SetEffectiveUser(uid_t newUser) override {
      if (newUser == 0 && refusals-- > 0) return ENOMEM;
      user = newUser;
      return 0;
    }
  };
  Machine machine;
  machine.host.console.user = kMia;
  ReluctantIdentity identity;
  platform::ScopedHost host;
  host->identity = &identity;
  std::string home;
  EXPECT_TRUE(dunmar::GetHomeAsConsoleUser(home));
  EXPECT_EQ(identity.user, 0U);
}

TEST(GetConsoleUserLogsFolder, FindsTheHomeByNameWithoutSwitching) {
  Machine machine;
  machine.host.console.user = kMia;
  machine.host.directories.homes = {{"mia", machine.folder.Join("mia")}};
  test::MakeDirs(machine.folder.Join("mia"));
  std::string out;
  EXPECT_TRUE(dunmar::GetConsoleUserLogsFolder(out));
  EXPECT_EQ(out, machine.folder.Join("mia/Library/Logs"));
  EXPECT_EQ(machine.host.calls, (CallRecord{"GetConsoleUser", "HomeDirectoryForUser(mia)"}));
}

TEST(GetConsoleUserLogsFolder, FallsBackToTheHomeAsTheConsoleUser) {
  Machine machine;
  machine.host.console.user = kMia;
  std::string out;
  EXPECT_TRUE(dunmar::GetConsoleUserLogsFolder(out));
  EXPECT_EQ(out, machine.logs);
  EXPECT_EQ(machine.host.calls,
            (CallRecord{"GetConsoleUser", "HomeDirectoryForUser(mia)", "GetConsoleUser",
                        "SetEffectiveUser(501)", "HomeDirectory", "SetEffectiveUser(0)"}));
}

TEST(GetConsoleUserLogsFolder, FallsBackToTheHomeWithNobodyAtTheConsole) {
  Machine machine;
  std::string out;
  EXPECT_TRUE(dunmar::GetConsoleUserLogsFolder(out));
  EXPECT_EQ(out, machine.logs);
  EXPECT_EQ(machine.host.calls, kHomeWithoutSwitch);
}

TEST(GetLogsFolderAsConsoleUser, FindsTheHomeAsTheConsoleUser) {
  Machine machine;
  machine.host.console.user = kMia;
  machine.host.directories.homes = {{"mia", machine.folder.Join("mia")}};
  std::string out;
  EXPECT_TRUE(dunmar::GetLogsFolderAsConsoleUser(out));
  EXPECT_EQ(out, machine.logs);
  EXPECT_EQ(machine.host.calls, kHomeAsMia);
}

TEST(GetLogsFolderAsConsoleUser, MakesNothingWhereTheSwitchIsRefused) {
  Machine machine;
  machine.host.console.user = kMia;
  machine.host.identity.error = EPERM;
  std::string out = "before";
  EXPECT_FALSE(dunmar::GetLogsFolderAsConsoleUser(out));
  EXPECT_EQ(out, "before");
  EXPECT_FALSE(test::IsThere(machine.folder.Join("home/Library")));
}

// The level.

TEST(ChooseLevel, GoesDownToWhatAMarkerAsksFor) {
  const struct {
    LogLevel requested;
    LogLevel withTrace;
    LogLevel withDebug;
  } rows[] = {
      {-5, 10, -5}, {0, 10, 0},   {10, 10, 10}, {15, 10, 15}, {20, 10, 20},
      {21, 10, 20}, {30, 10, 20}, {40, 10, 20}, {70, 10, 20},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.requested);
    EXPECT_EQ(ChooseLevel(row.requested, LevelMarker::kNoMarker), row.requested);
    EXPECT_EQ(ChooseLevel(row.requested, LevelMarker::kTraceMarker), row.withTrace);
    EXPECT_EQ(ChooseLevel(row.requested, LevelMarker::kDebugMarker), row.withDebug);
  }
}

TEST(SetLevel, GoesByTheFirstMarker) {
  const struct {
    std::vector<const char*> markers;
    LogLevel for10;
    LogLevel for20;
    LogLevel for30;
    LogLevel for40;
  } rows[] = {
      {{}, 10, 20, 30, 40},
      {{"Dunmar.trace"}, 10, 10, 10, 10},
      {{"Dunmar.debug"}, 10, 20, 20, 20},
      {{"kobb.trace"}, 10, 10, 10, 10},
      {{"kobb.debug"}, 10, 20, 20, 20},
      {{"Dunmar.trace", "Dunmar.debug"}, 10, 10, 10, 10},
      {{"Dunmar.trace", "kobb.trace"}, 10, 10, 10, 10},
      {{"Dunmar.trace", "kobb.debug"}, 10, 10, 10, 10},
      {{"Dunmar.debug", "kobb.trace"}, 10, 20, 20, 20},
      {{"Dunmar.debug", "kobb.debug"}, 10, 20, 20, 20},
      {{"kobb.trace", "kobb.debug"}, 10, 10, 10, 10},
      {{"Dunmar.trace", "Dunmar.debug", "kobb.trace"}, 10, 10, 10, 10},
      {{"Dunmar.trace", "Dunmar.debug", "kobb.debug"}, 10, 10, 10, 10},
      {{"Dunmar.trace", "kobb.trace", "kobb.debug"}, 10, 10, 10, 10},
      {{"Dunmar.debug", "kobb.trace", "kobb.debug"}, 10, 20, 20, 20},
      {{"Dunmar.trace", "Dunmar.debug", "kobb.trace", "kobb.debug"}, 10, 10, 10, 10},
  };
  for (const auto& row : rows) {
    const Machine machine;
    std::string trace;
    RecordingTarget target;
    for (const char* const marker : row.markers) {
      trace += std::string(marker) + " ";
      test::PutFile(machine.logs + "/" + marker, "");
    }
    SCOPED_TRACE(trace);
    for (const auto& [requested, level] :
         {std::pair{10, row.for10}, {20, row.for20}, {30, row.for30}, {40, row.for40}}) {
      SetLevel(target, requested);
      EXPECT_EQ(target.GetLevel(), level) << requested;
    }
  }
}

// The threshold that SetLevel(30) leaves on a new target.
LogLevel LevelFor30() {
  RecordingTarget target;
  SetLevel(target, 30);
  return target.GetLevel();
}

TEST(SetLevel, ForgetsAMarkerThatIsGone) {
  const Machine machine;
  test::PutFile(machine.logs + "/kobb.trace", "");
  RecordingTarget target;
  EXPECT_EQ(target.GetLevel(), 10);
  ASSERT_EQ(unlink((machine.logs + "/kobb.trace").c_str()), 0);
  SetLevel(target, 30);
  EXPECT_EQ(target.GetLevel(), 30);
}

TEST(SetLevel, DoesNotMindTheContentOfAMarker) {
  for (const char* const content : {"", "keeplogs", "30"}) {
    const Machine machine;
    test::PutFile(machine.logs + "/kobb.trace", content);
    EXPECT_EQ(LevelFor30(), 10);
  }
}

TEST(SetLevel, TakesNoFolderForAMarker) {
  for (const char* const name : {"Dunmar.trace", "Dunmar.debug", "kobb.trace", "kobb.debug"}) {
    SCOPED_TRACE(name);
    const Machine machine;
    test::MakeDirs(machine.logs + "/" + name);
    EXPECT_EQ(LevelFor30(), 30);
  }
}

TEST(SetLevel, GoesOnBehindAFolderOfAMarkersName) {
  const Machine machine;
  test::MakeDirs(machine.logs + "/Dunmar.trace");
  test::MakeDirs(machine.logs + "/Dunmar.debug");
  test::PutFile(machine.logs + "/kobb.trace", "");
  EXPECT_EQ(LevelFor30(), 10);
}

TEST(SetLevel, FollowsALinkInTheMarkersPlace) {
  const Machine machine;
  test::PutFile(machine.folder.Join("file"), "");
  test::MakeDirs(machine.logs);
  test::MakeLink(machine.logs + "/Dunmar.trace", machine.folder.Join("nothing"));
  EXPECT_EQ(LevelFor30(), 30);
  test::MakeLink(machine.logs + "/Dunmar.debug", machine.folder.Join("home"));
  EXPECT_EQ(LevelFor30(), 30);
  test::MakeLink(machine.logs + "/kobb.trace", machine.folder.Join("file"));
  EXPECT_EQ(LevelFor30(), 10);
}

TEST(SetLevel, TakesAnythingButAFolderForAMarkerAndOpensItNot) {
  const Machine machine;
  test::MakeDirs(machine.logs);
  test::MakeFifo(machine.logs + "/Dunmar.trace");
  EXPECT_EQ(LevelFor30(), 10);
}

TEST(SetLevel, GoesByTheFileNameOfTheMoment) {
  const struct {
    const char* fileName;
    const char* marker;
  } rows[] = {
      {"Ixer.log", "Ixer.trace"}, {"a.b.log", "a.b.trace"}, {"name", "name.trace"},
      {".log", ".log.trace"},     {"a b.log", "a b.trace"}, {"name.trace", "name.trace"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.fileName);
    const Machine machine;
    test::PutFile(machine.logs + "/" + row.marker, "");
    RecordingTarget target;
    EXPECT_EQ(target.GetLevel(), 30);
    LogTargetForTesting::FileName(target) = row.fileName;
    SetLevel(target, 30);
    EXPECT_EQ(target.GetLevel(), 10);
  }
}

TEST(SetLevel, LooksForTheOthersBesideTheFirst) {
  const Machine machine;
  test::PutFile(machine.logs + "/sub/kobb.trace", "");
  test::PutFile(machine.logs + "/kobb.debug", "");
  RecordingTarget target;
  LogTargetForTesting::FileName(target) = "sub/Ixer.log";
  SetLevel(target, 30);
  EXPECT_EQ(target.GetLevel(), 10);
}

TEST(SetLevel, LooksForNothingWithoutANameForTheFirst) {
  for (const std::string& fileName : {std::string(), std::string("/"), std::string("a\0b", 3)}) {
    SCOPED_TRACE(fileName);
    const Machine machine;
    test::PutFile(machine.logs + "/kobb.trace", "");
    RecordingTarget target;
    LogTargetForTesting::FileName(target) = fileName;
    SetLevel(target, 30);
    EXPECT_EQ(target.GetLevel(), 30);
  }
}

TEST(SetLevel, LooksInTheLogsFolderThatIsFoundByName) {
  Machine machine;
  machine.host.console.user = kMia;
  machine.host.directories.homes = {{"mia", machine.folder.Join("mia")}};
  test::PutFile(machine.folder.Join("mia/Library/Logs/kobb.debug"), "");
  test::PutFile(machine.logs + "/kobb.trace", "");
  RecordingTarget target;
  machine.host.calls.clear();
  SetLevel(target, 30);
  EXPECT_EQ(target.GetLevel(), 20);
  EXPECT_EQ(machine.host.calls, (CallRecord{"GetConsoleUser", "HomeDirectoryForUser(mia)"}));
}

TEST(SetLevel, LooksAsTheConsoleUserWhereTheHomeByNameHasNoLogsFolder) {
  Machine machine;
  machine.host.console.user = kMia;
  machine.host.directories.homes = {{"mia", machine.folder.Join("missing")}};
  test::PutFile(machine.logs + "/kobb.trace", "");
  RecordingTarget target;
  machine.host.calls.clear();
  SetLevel(target, 30);
  EXPECT_EQ(target.GetLevel(), 10);
  EXPECT_EQ(machine.host.calls,
            Join({{"GetConsoleUser", "HomeDirectoryForUser(mia)"}, kHomeAsMia}));
}

TEST(SetLevel, KeepsTheRequestedLevelWithoutALogsFolder) {
  Machine machine;
  machine.host.directories.home = machine.folder.Join("missing");
  RecordingTarget target;
  for (const LogLevel level : {40, 10, -1}) {
    SetLevel(target, level);
    EXPECT_EQ(target.GetLevel(), level);
  }
}

TEST(SetLevel, KeepsTheRequestedLevelWhereTheSwitchIsRefusedToo) {
  Machine machine;
  machine.host.console.user = kMia;
  machine.host.directories.homes = {{"mia", machine.folder.Join("missing")}};
  machine.host.identity.error = EPERM;
  test::PutFile(machine.logs + "/kobb.trace", "");
  RecordingTarget target;
  machine.host.calls.clear();
  SetLevel(target, 40);
  EXPECT_EQ(target.GetLevel(), 40);
  EXPECT_EQ(machine.host.calls, (CallRecord{"GetConsoleUser", "HomeDirectoryForUser(mia)",
                                            "GetConsoleUser", "SetEffectiveUser(501)"}));
}

TEST(SetLevel, KeepsTheRequestedLevelWhereTheHomeCannotBeTold) {
  if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  test::PutFile(root.Join("Library/Logs/kobb.trace"), "");
  test::RunInRoot(root.Path(), [] {
    test::FakeHost host;
    host.directories.tellsHome = false;
    EXPECT_EQ(LevelFor30(), 30);
  });
}

TEST(SetLevel, LeavesTheRestOfTheTargetAlone) {
  const Machine machine;
  RecordingTarget target("name");
  SetLevel(target, 40);
  EXPECT_EQ(target.GetName(), "name");
  EXPECT_EQ(LogTargetForTesting::FileName(target), "Dunmar.log");
  EXPECT_EQ(LogTargetForTesting::FilePath(target), "");
  EXPECT_TRUE(LogTargetForTesting::Enabled(target));
  EXPECT_TRUE(target.calls.empty());
}

// The file.

// Makes the file where it is missing, as a file target does.
bool OpenForReal(const std::string& path, dunmar::FileStream& stream) {
  stream.open(platform::UniqueFd(
      open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0666)));
  return stream.good();
}

// Lets a target open its file on the disk.
void OpenOnDisk(RecordingTarget& target) {
  target.openStream = [&target](dunmar::FileStream& stream) {
    return OpenForReal(LogTargetForTesting::FilePath(target), stream);
  };
}

TEST(SetLogFile, PutsTheFileIntoTheProductFolder) {
  for (const char* const folder : {static_cast<const char*>(nullptr), ""}) {
    const Machine machine;
    const test::ScopedUmask umask(027);
    RecordingTarget target;
    OpenOnDisk(target);
    EXPECT_TRUE(SetLogFile(target, "Ixer.log", folder));
    EXPECT_EQ(LogTargetForTesting::FilePath(target), machine.product + "/Ixer.log");
    EXPECT_EQ(LogTargetForTesting::FileName(target), "Ixer.log");
    EXPECT_TRUE(LogTargetForTesting::Enabled(target));
    EXPECT_EQ(target.calls,
              std::vector<std::string>{"OpenStream " + machine.product + "/Ixer.log"});
    EXPECT_EQ(test::GetFile(machine.product + "/Ixer.log"), "");
    EXPECT_FALSE(LogTargetForTesting::Stream(target).is_open());
    EXPECT_FALSE(LogTargetForTesting::IsOpen(target));
  }
}

TEST(SetLogFile, KeepsTheFileNameWithoutAnother) {
  for (const char* const name : {static_cast<const char*>(nullptr), ""}) {
    const Machine machine;
    RecordingTarget target;
    EXPECT_TRUE(SetLogFile(target, name, nullptr));
    EXPECT_EQ(LogTargetForTesting::FilePath(target), machine.product + "/Dunmar.log");
    EXPECT_EQ(LogTargetForTesting::FileName(target), "Dunmar.log");
  }
}

TEST(SetLogFile, PutsTheFileIntoAGivenFolderAndDoesNotMakeIt) {
  Machine machine;
  RecordingTarget target;
  machine.host.calls.clear();
  EXPECT_TRUE(SetLogFile(target, nullptr, machine.folder.Join("x").c_str()));
  EXPECT_EQ(LogTargetForTesting::FilePath(target), machine.folder.Join("x/Dunmar.log"));
  EXPECT_EQ(target.calls,
            std::vector<std::string>{"OpenStream " + machine.folder.Join("x/Dunmar.log")});
  EXPECT_TRUE(machine.host.calls.empty());
  EXPECT_FALSE(test::IsThere(machine.folder.Join("x")));
  EXPECT_FALSE(test::IsThere(machine.logs + "/Caldris"));
}

TEST(SetLogFile, JoinsNameAndFolderWithOneSlash) {
  const Machine machine;
  RecordingTarget target;
  EXPECT_TRUE(SetLogFile(target, "a.log", "/x//y/"));
  EXPECT_EQ(LogTargetForTesting::FilePath(target), "/x/y/a.log");
  EXPECT_TRUE(SetLogFile(target, "b.log", "x"));
  EXPECT_EQ(LogTargetForTesting::FilePath(target), "x/b.log");
}

TEST(SetLogFile, RefusesANameThatHoldsAFolder) {
  for (const char* const name : {"sub/Ixer.log", "/Ixer.log", "Ixer.log/", "../Ixer.log", "//"}) {
    SCOPED_TRACE(name);
    const Machine machine;
    RecordingTarget target;
    EXPECT_FALSE(SetLogFile(target, name, ""));
    EXPECT_FALSE(LogTargetForTesting::Enabled(target));
    EXPECT_TRUE(target.calls.empty());
    // The folder stays, in the target and on the disk.
    EXPECT_EQ(LogTargetForTesting::FilePath(target), machine.product);
    EXPECT_EQ(LogTargetForTesting::FileName(target), "Dunmar.log");
    EXPECT_TRUE(test::IsThere(machine.product));

    EXPECT_FALSE(SetLogFile(target, name, "/x//y/"));
    EXPECT_FALSE(LogTargetForTesting::Enabled(target));
    EXPECT_TRUE(target.calls.empty());
    EXPECT_EQ(LogTargetForTesting::FilePath(target), "/x//y/");
  }
}

TEST(SetLogFile, TakesANameOfTheTargetsOwnThatHoldsAFolder) {
  const Machine machine;
  RecordingTarget target;
  LogTargetForTesting::FileName(target) = "sub/Ixer.log";
  EXPECT_TRUE(SetLogFile(target, nullptr, "/x"));
  EXPECT_EQ(LogTargetForTesting::FilePath(target), "/x/sub/Ixer.log");
  EXPECT_EQ(LogTargetForTesting::FileName(target), "Ixer.log");
}

TEST(SetLogFile, NamesTheFileByTheEndOfItsPath) {
  const Machine machine;
  RecordingTarget target;
  // A slash is its own last component, and joining it on adds nothing.
  EXPECT_TRUE(SetLogFile(target, "/", "/x/y"));
  EXPECT_EQ(LogTargetForTesting::FilePath(target), "/x/y");
  EXPECT_EQ(LogTargetForTesting::FileName(target), "y");
}

TEST(SetLogFile, RefusesANameThatCannotBeJoined) {
  const Machine machine;
  RecordingTarget target;
  LogTargetForTesting::FileName(target) = std::string("a\0b", 3);
  EXPECT_FALSE(SetLogFile(target, nullptr, "/x/"));
  EXPECT_FALSE(LogTargetForTesting::Enabled(target));
  EXPECT_TRUE(target.calls.empty());
  EXPECT_EQ(LogTargetForTesting::FilePath(target), "/x/");
  EXPECT_EQ(LogTargetForTesting::FileName(target), std::string("a\0b", 3));
}

TEST(SetLogFile, DisablesATargetWhoseFileCannotBeOpenedAndEnablesItAgain) {
  const Machine machine;
  RecordingTarget target;
  target.openStream = [](dunmar::FileStream&) { return false; };
  EXPECT_FALSE(SetLogFile(target, "Ixer.log", "/x"));
  EXPECT_FALSE(LogTargetForTesting::Enabled(target));
  EXPECT_EQ(LogTargetForTesting::FilePath(target), "/x/Ixer.log");
  EXPECT_EQ(LogTargetForTesting::FileName(target), "Ixer.log");
  target.openStream = [](dunmar::FileStream&) { return true; };
  EXPECT_TRUE(SetLogFile(target, "Ixer.log", "/x"));
  EXPECT_TRUE(LogTargetForTesting::Enabled(target));
}

TEST(SetLogFile, OpensTheOwnStreamOfAnOpenTarget) {
  const Machine machine;
  RecordingTarget target;
  LogTargetForTesting::IsOpen(target) = true;
  OpenOnDisk(target);
  EXPECT_TRUE(SetLogFile(target, "Ixer.log", machine.folder.Path().c_str()));
  EXPECT_EQ(target.calls,
            std::vector<std::string>{"OpenStream " + machine.folder.Join("Ixer.log") + " (own)"});
  EXPECT_TRUE(LogTargetForTesting::Enabled(target));
  EXPECT_TRUE(LogTargetForTesting::Stream(target).is_open());
  target.WriteLine("one");
  EXPECT_EQ(test::GetFile(machine.folder.Join("Ixer.log")), "one\n");
}

TEST(SetLogFile, DisablesAnOpenTargetWhoseFileCannotBeOpened) {
  const Machine machine;
  RecordingTarget target;
  LogTargetForTesting::IsOpen(target) = true;
  target.openStream = [](dunmar::FileStream&) { return false; };
  EXPECT_FALSE(SetLogFile(target, "Ixer.log", "/x"));
  EXPECT_FALSE(LogTargetForTesting::Enabled(target));
  EXPECT_TRUE(LogTargetForTesting::IsOpen(target));
}

TEST(SetLogFile, LooksAtTheResultOfOpeningAndAtNothingAfterIt) {
  const Machine machine;
  const std::string path = machine.folder.Join("a.log");
  test::PutFile(path, "");
  RecordingTarget target;
  // What is in the stream cannot be written when it is closed.
  target.openStream = [&path](dunmar::FileStream& stream) {
    stream.open(platform::UniqueFd(open(path.c_str(), O_RDONLY | O_CLOEXEC)));
    stream.put('x');
    return true;
  };
  EXPECT_TRUE(SetLogFile(target, "a.log", machine.folder.Path().c_str()));
  // Nothing is open.
  target.openStream = [](dunmar::FileStream& stream) {
    stream.open(platform::UniqueFd());
    return true;
  };
  EXPECT_TRUE(SetLogFile(target, "a.log", machine.folder.Path().c_str()));
  EXPECT_TRUE(LogTargetForTesting::Enabled(target));
}

TEST(SetLogFile, PlaysNoPartInTheLevelThatWasSetBefore) {
  const Machine machine;
  test::PutFile(machine.logs + "/Ixer.trace", "");
  RecordingTarget target;
  SetLevel(target, 30);
  EXPECT_TRUE(SetLogFile(target, "Ixer.log", ""));
  EXPECT_EQ(target.GetLevel(), 30);
  SetLevel(target, 30);
  EXPECT_EQ(target.GetLevel(), 10);
}

// Owner and mode of the product folders.

// Records every change of owner and mode while it lives, by the name of the folder, and has them
// fail where told to.
class OwnerRecord {
 public:
  explicit OwnerRecord(std::map<std::string, std::string> folders, int error = 0) {
    Folders() = std::move(folders);
    Lines().clear();
    Error() = error;
    calls_->fchown = [](int fd, uid_t owner, gid_t group) {
      Lines().push_back("fchown " + NameOf(fd) + " " + std::to_string(owner) + ":" +
                        std::to_string(group));
      errno = Error();
      return Error() == 0 ? 0 : -1;
    };
    calls_->fchmod = [](int fd, mode_t mode) {
      Lines().push_back("fchmod " + NameOf(fd) + " " + (mode == 0777 ? "0777" : "another"));
      errno = Error();
      return Error() == 0 ? 0 : -1;
    };
  }
  [[nodiscard]] const std::vector<std::string>& Changes() const { return Lines(); }

 private:
  static std::map<std::string, std::string>& Folders() {
    static std::map<std::string, std::string> folders;
    return folders;
  }
  static std::vector<std::string>& Lines() {
    static std::vector<std::string> lines;
    return lines;
  }
  static int& Error() {
    static int error = 0;
    return error;
  }
  static std::string NameOf(int fd) {
    struct stat changed = {};
    EXPECT_EQ(fstat(fd, &changed), 0);
    for (const auto& [name, path] : Folders()) {
      struct stat item = {};
      if (stat(path.c_str(), &item) == 0 && item.st_ino == changed.st_ino &&
          item.st_dev == changed.st_dev) {
        return name;
      }
    }
    return "unknown";
  }

  platform::ScopedSystemCalls calls_;
};

const std::vector<std::string> kHandedOver = {
    "fchown Caldris 501:20",
    "fchmod Caldris 0777",
    "fchown Ixer 501:20",
    "fchmod Ixer 0777",
};

std::map<std::string, std::string> ProductFolders(const Machine& machine) {
  return {{"Caldris", machine.logs + "/Caldris"}, {"Ixer", machine.product}};
}

TEST(SetLogFile, HandsTheNewProductFoldersToTheConsoleUser) {
  for (const int error : {0, EPERM}) {
    SCOPED_TRACE(error);
    Machine machine;
    machine.host.console.user = kMia;
    RecordingTarget target;
    machine.host.calls.clear();
    const OwnerRecord owners(ProductFolders(machine), error);
    EXPECT_TRUE(SetLogFile(target, "Ixer.log", nullptr));
    EXPECT_EQ(owners.Changes(), kHandedOver);
    EXPECT_EQ(machine.host.calls, Join({kHomeAsMia, {"GetConsoleUser"}, kHomeAsMia}));
    EXPECT_EQ(LogTargetForTesting::FilePath(target), machine.product + "/Ixer.log");
  }
}

TEST(SetLogFile, HandsBothFoldersOverWhereOneOfThemIsNew) {
  Machine machine;
  machine.host.console.user = kMia;
  test::MakeDirs(machine.logs + "/Caldris");
  RecordingTarget target;
  const OwnerRecord owners(ProductFolders(machine));
  EXPECT_TRUE(SetLogFile(target, "Ixer.log", nullptr));
  EXPECT_EQ(owners.Changes(), kHandedOver);
}

TEST(SetLogFile, HandsNothingOverWithNobodyAtTheConsole) {
  Machine machine;
  const test::ScopedUmask umask(022);
  RecordingTarget target;
  machine.host.calls.clear();
  const OwnerRecord owners(ProductFolders(machine));
  EXPECT_TRUE(SetLogFile(target, "Ixer.log", nullptr));
  EXPECT_TRUE(owners.Changes().empty());
  EXPECT_EQ(machine.host.calls, Join({kHomeWithoutSwitch, {"GetConsoleUser"}}));
  EXPECT_EQ(test::GetMode(machine.logs + "/Caldris"), 0755U);
  EXPECT_EQ(test::GetMode(machine.product), 0755U);
}

// The modes of the product folders that an ordinary user makes. Root may open what the umask
// closes.
struct ProductModes {
  mode_t outer;
  mode_t inner;
  bool operator==(const ProductModes&) const = default;
};

// Those that let the maker go on in the folder that he has made, and others.
constexpr mode_t kHarmlessUmasks[] = {0000, 0022, 0077, 0400, 0402};
constexpr mode_t kUmasks[] = {0000, 0022, 0077, 0400, 0402, 0377, 0700, 0777};

// For a process of the console user's where `isAtConsole`, else with nobody there.
ProductModes MakeProductFolders(mode_t umask, bool isAtConsole) {
  Machine machine;
  test::MakeDirs(machine.logs);
  const bool isRoot = geteuid() == 0;
  const uid_t user = isRoot ? 501 : geteuid();
  const gid_t group = isRoot ? 20 : getegid();
  if (isRoot) test::SetOwner(machine.logs, user, group);
  test::RunInChild([&] {
    if (isRoot) {
      ASSERT_EQ(seteuid(user), 0);
    }
    machine.host.identity.user = user;
    if (isAtConsole) machine.host.console.user = {.name = "mia", .uid = user, .gid = group};
    const test::ScopedUmask mask(umask);
    RecordingTarget target;
    (void)SetLogFile(target, "Ixer.log", nullptr);
  });
  return {test::GetMode(machine.logs + "/Caldris").value_or(07777),
          test::GetMode(machine.product).value_or(07777)};
}

TEST(SetLogFile, OpensTheProductFoldersToEverybodyWhateverTheUmaskOfTheOneAtTheConsole) {
  if (const std::string why = test::WhyNoRealRoot(); geteuid() == 0 && !why.empty()) {
    GTEST_SKIP() << why;
  }
  for (const mode_t umask : kUmasks) {
    SCOPED_TRACE(umask);
    EXPECT_EQ(MakeProductFolders(umask, /*isAtConsole=*/true), (ProductModes{0777, 0777}));
  }
}

TEST(SetLogFile, LeavesTheModesOfTheProductFoldersToTheUmaskWithNobodyAtTheConsole) {
  if (const std::string why = test::WhyNoRealRoot(); geteuid() == 0 && !why.empty()) {
    GTEST_SKIP() << why;
  }
  for (const mode_t umask : kHarmlessUmasks) {
    SCOPED_TRACE(umask);
    const auto mode = static_cast<mode_t>(0777U & ~umask);
    EXPECT_EQ(MakeProductFolders(umask, /*isAtConsole=*/false), (ProductModes{mode, mode}));
  }
}

TEST(SetLogFile, OpensAProductFolderOfAnEarlierRunThatItsOwnerMayNotRead) {
  if (const std::string why = test::WhyNoRealRoot(); geteuid() == 0 && !why.empty()) {
    GTEST_SKIP() << why;
  }
  Machine machine;
  const std::string outer = machine.logs + "/Caldris";
  test::MakeDirs(outer);
  test::SetMode(outer, 0375);
  const bool isRoot = geteuid() == 0;
  const uid_t user = isRoot ? 501 : geteuid();
  if (isRoot) test::SetOwner(outer, user, 20);
  test::RunInChild([&] {
    if (isRoot) {
      ASSERT_EQ(seteuid(user), 0);
    }
    machine.host.identity.user = user;
    machine.host.console.user = {.name = "mia", .uid = user, .gid = isRoot ? 20 : getegid()};
    RecordingTarget target;
    EXPECT_TRUE(SetLogFile(target, "Ixer.log", nullptr));
  });
  EXPECT_EQ(test::GetMode(outer), 0777U);
  EXPECT_EQ(test::GetMode(machine.product), 0777U);
}

TEST(SetLogFile, LeavesAProductFolderThatIsThereAlone) {
  Machine machine;
  machine.host.console.user = kMia;
  test::MakeDirs(machine.product);
  RecordingTarget target;
  machine.host.calls.clear();
  const OwnerRecord owners(ProductFolders(machine));
  EXPECT_TRUE(SetLogFile(target, "Ixer.log", nullptr));
  EXPECT_TRUE(owners.Changes().empty());
  EXPECT_EQ(machine.host.calls, kHomeAsMia);
}

TEST(SetLogFile, LeavesALinkToAFolderInTheProductFoldersPlaceAlone) {
  Machine machine;
  machine.host.console.user = kMia;
  test::MakeDirs(machine.folder.Join("elsewhere"));
  test::MakeDirs(machine.logs + "/Caldris");
  test::MakeLink(machine.product, machine.folder.Join("elsewhere"));
  RecordingTarget target;
  const OwnerRecord owners({});
  EXPECT_TRUE(SetLogFile(target, "Ixer.log", nullptr));
  EXPECT_TRUE(owners.Changes().empty());
  EXPECT_EQ(test::GetLink(machine.product), machine.folder.Join("elsewhere"));
}

TEST(SetLogFile, LeavesALinkInTheOuterFoldersPlaceAlone) {
  Machine machine;
  machine.host.console.user = kMia;
  test::MakeDirs(machine.folder.Join("elsewhere"));
  test::MakeDirs(machine.logs);
  test::MakeLink(machine.logs + "/Caldris", machine.folder.Join("elsewhere"));
  RecordingTarget target;
  const OwnerRecord owners({{"elsewhere", machine.folder.Join("elsewhere")},
                            {"Ixer", machine.folder.Join("elsewhere/Ixer")}});
  EXPECT_TRUE(SetLogFile(target, "Ixer.log", nullptr));
  EXPECT_EQ(owners.Changes(), (std::vector<std::string>{"fchown Ixer 501:20", "fchmod Ixer 0777"}));
}

TEST(SetLogFile, LeavesADanglingLinkInTheProductFoldersPlaceAlone) {
  Machine machine;
  machine.host.console.user = kMia;
  test::MakeDirs(machine.logs + "/Caldris");
  test::MakeLink(machine.product, machine.folder.Join("elsewhere"));
  RecordingTarget target;
  OpenOnDisk(target);
  const OwnerRecord owners(ProductFolders(machine));
  EXPECT_FALSE(SetLogFile(target, "Ixer.log", nullptr));
  EXPECT_EQ(owners.Changes(),
            (std::vector<std::string>{"fchown Caldris 501:20", "fchmod Caldris 0777"}));
  EXPECT_FALSE(test::IsThere(machine.folder.Join("elsewhere")));
}

TEST(SetLogFile, GoesOnWhereTheProductFolderCannotBeMade) {
  Machine machine;
  machine.host.console.user = kMia;
  test::PutFile(machine.logs + "/Caldris", "x");
  RecordingTarget target;
  machine.host.calls.clear();
  const OwnerRecord owners(ProductFolders(machine));
  EXPECT_TRUE(SetLogFile(target, "Ixer.log", nullptr));
  EXPECT_TRUE(owners.Changes().empty());
  EXPECT_EQ(machine.host.calls, Join({kHomeAsMia, {"GetConsoleUser"}, kHomeAsMia}));
  EXPECT_EQ(target.calls, std::vector<std::string>{"OpenStream " + machine.product + "/Ixer.log"});
  OpenOnDisk(target);
  EXPECT_FALSE(SetLogFile(target, "Ixer.log", nullptr));
}

// How the product folders are made.

TEST(SetLogFile, MakesTheProductFoldersOneByOneThroughHandles) {
  const Machine machine;
  static std::vector<std::string> made;
  made.clear();
  RecordingTarget target;
  platform::ScopedSystemCalls calls;
  calls->mkdirat = [](int folder, const char* name, mode_t mode) {
    made.push_back(std::string(name) + (mode == 0777 ? "" : " of another mode"));
    return ::mkdirat(folder, name, mode);
  };
  // The folders above have been made when the target was.
  EXPECT_TRUE(SetLogFile(target, "Ixer.log", nullptr));
  EXPECT_EQ(made, (std::vector<std::string>{"Library of another mode", "Logs of another mode",
                                            "Caldris", "Ixer"}));
  EXPECT_TRUE(test::IsThere(machine.product));
}

TEST(SetLogFile, MakesNothingOfRootsBehindAnothersLink) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  for (const bool isConsoleUser : {false, true}) {
    SCOPED_TRACE(isConsoleUser);
    Machine machine;
    if (isConsoleUser) machine.host.console.user = kMia;
    test::MakeDirs(machine.folder.Join("canary"));
    test::MakeDirs(machine.logs);
    test::MakeLink(machine.logs + "/Caldris", machine.folder.Join("canary"));
    test::SetOwner(machine.logs + "/Caldris", 501, 20);
    const test::Tree before = test::ReadTree(machine.folder.Path());
    RecordingTarget target;
    (void)SetLogFile(target, "Ixer.log", nullptr);
    EXPECT_EQ(test::CompareTrees(before, test::ReadTree(machine.folder.Path())),
              std::vector<std::string>());
  }
}

TEST(SetLogFile, MakesTheMissingFoldersOfThePathThatTheTargetHadWithoutALogsFolder) {
  Machine machine;
  machine.host.directories.home = machine.folder.Join("missing");
  RecordingTarget target;
  OpenOnDisk(target);
  LogTargetForTesting::FilePath(target) = machine.folder.Join("a/b");
  EXPECT_TRUE(SetLogFile(target, "Ixer.log", nullptr));
  EXPECT_EQ(LogTargetForTesting::FilePath(target),
            machine.folder.Join("a/b/Caldris/Ixer/Ixer.log"));
}

TEST(SetLogFile, DisablesTheTargetWhereTheHomeCannotBeTold) {
  if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  test::RunInRoot(root.Path(), [] {
    test::FakeHost host;
    host.console.user = kMia;
    host.directories.tellsHome = false;
    RecordingTarget target;
    OpenOnDisk(target);
    EXPECT_FALSE(SetLogFile(target, "Ixer.log", nullptr));
    EXPECT_FALSE(LogTargetForTesting::Enabled(target));
    EXPECT_EQ(LogTargetForTesting::FilePath(target), "");
    EXPECT_EQ(LogTargetForTesting::FileName(target), "Dunmar.log");
    EXPECT_TRUE(target.calls.empty());
    // A given folder needs no home.
    test::MakeDirs("/given");
    EXPECT_TRUE(SetLogFile(target, "Ixer.log", "/given"));
    EXPECT_TRUE(LogTargetForTesting::Enabled(target));
  });
  EXPECT_FALSE(test::IsThere(root.Join("Library")));
  EXPECT_FALSE(test::IsThere(root.Join("Caldris")));
}

// The default without a logs folder, below a root folder of its own.

TEST(SetLogFile, FallsBackToTheRootOfTheDiskWithoutALogsFolder) {
  if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  test::RunInRoot(root.Path(), [] {
    test::FakeHost host;
    host.console.user = kMia;
    host.directories.home = "/missing";
    RecordingTarget target;
    OpenOnDisk(target);
    const OwnerRecord owners({{"Caldris", "/Caldris"}, {"Ixer", "/Caldris/Ixer"}});
    EXPECT_TRUE(SetLogFile(target, "Ixer.log", nullptr));
    EXPECT_EQ(LogTargetForTesting::FilePath(target), "/Caldris/Ixer/Ixer.log");
    EXPECT_EQ(LogTargetForTesting::FileName(target), "Ixer.log");
    EXPECT_EQ(owners.Changes(), kHandedOver);
  });
  EXPECT_EQ(test::GetFile(root.Join("Caldris/Ixer/Ixer.log")), "");
}

TEST(SetLogFile, FallsBackToAFolderBehindThePathThatTheTargetHad) {
  const Machine machine;
  RecordingTarget target;
  EXPECT_TRUE(SetLogFile(target, "a.log", machine.folder.Path().c_str()));
  test::FakeHost host;
  host.directories.home = machine.folder.Join("missing");
  EXPECT_TRUE(SetLogFile(target, "Ixer.log", nullptr));
  EXPECT_EQ(LogTargetForTesting::FilePath(target),
            machine.folder.Join("a.log/Caldris/Ixer/Ixer.log"));
}

// Refuses the second switch to another user, and all after it.
class FickleIdentity final : public platform::ProcessIdentity {
 public:
  [[nodiscard]] uid_t EffectiveUser() override { return user_; }
  [[nodiscard]] int SetEffectiveUser(uid_t user) override {
    if (user != 0 && ++switches_ > 1) return EPERM;
    user_ = user;
    return 0;
  }

 private:
  uid_t user_ = 0;
  int switches_ = 0;
};

TEST(SetLogFile, LooksForTheOuterFolderASecondTime) {
  if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  test::MakeDirs(root.Join("home"));
  test::MakeDirs(root.Join("Caldris"));
  test::RunInRoot(root.Path(), [] {
    test::FakeHost host;
    host.directories.home = "/home";
    RecordingTarget target;
    host.console.user = kMia;
    FickleIdentity identity;
    platform::ScopedHost scope;
    scope->identity = &identity;
    const OwnerRecord owners({{"Caldris", "/home/Library/Logs/Caldris"},
                              {"Ixer", "/home/Library/Logs/Caldris/Ixer"},
                              {"root's", "/Caldris"}});
    EXPECT_TRUE(SetLogFile(target, "Ixer.log", nullptr));
    EXPECT_EQ(LogTargetForTesting::FilePath(target), "/home/Library/Logs/Caldris/Ixer/Ixer.log");
    EXPECT_EQ(owners.Changes(),
              (std::vector<std::string>{"fchown root's 501:20", "fchmod root's 0777",
                                        "fchown Ixer 501:20", "fchmod Ixer 0777"}));
  });
}

// Real users.

using test::MiasRoot;
using test::Person;
using test::RealMachine;

// "drwx------ 0:0" in numbers.
struct OwnerAndMode {
  std::optional<uid_t> owner;
  std::optional<gid_t> group;
  std::optional<mode_t> mode;
  bool operator==(const OwnerAndMode&) const = default;
};

std::ostream& operator<<(std::ostream& out, const OwnerAndMode& item) {
  return out << item.owner.value_or(99999) << ":" << item.group.value_or(99999) << " " << std::oct
             << item.mode.value_or(0) << std::dec;
}

OwnerAndMode Look(const std::string& path) {
  return {test::GetOwner(path), test::GetGroup(path), test::GetMode(path)};
}

TEST(SetLogFile, GivesTheProductFoldersToTheRealConsoleUser) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  for (const Person mia : {Person{501, 20}, Person{1000, 1000}}) {
    for (const mode_t mask : {mode_t{0}, mode_t{022}, mode_t{077}}) {
      SCOPED_TRACE(std::to_string(mia.uid) + " " + std::to_string(mask));
      const MiasRoot root(mia);
      test::RunInRoot(root.folder.Path(), [&] {
        const RealMachine machine(mia);
        const test::ScopedUmask umask(mask);
        RecordingTarget target;
        OpenOnDisk(target);
        EXPECT_TRUE(SetLogFile(target, "Ixer.log", nullptr));
        EXPECT_EQ(LogTargetForTesting::FilePath(target),
                  "/Users/mia/Library/Logs/Caldris/Ixer/Ixer.log");
        EXPECT_EQ(geteuid(), 0U);
      });
      EXPECT_EQ(Look(root.Join("Users/mia")), (OwnerAndMode{mia.uid, mia.gid, 0755}));
      EXPECT_EQ(Look(root.Join("Users/mia/Library")), (OwnerAndMode{0, 0, 0700}));
      EXPECT_EQ(Look(root.Join("Users/mia/Library/Logs")), (OwnerAndMode{0, 0, 0700}));
      const OwnerAndMode handedOver = {mia.uid, mia.gid, 0777};
      EXPECT_EQ(Look(root.Join("Users/mia/Library/Logs/Caldris")), handedOver);
      EXPECT_EQ(Look(root.Join("Users/mia/Library/Logs/Caldris/Ixer")), handedOver);
      EXPECT_EQ(test::GetFile(root.Join("Users/mia/Library/Logs/Caldris/Ixer/Ixer.log")), "");
    }
  }
}

TEST(SetLogFile, FindsTheMarkersOfTheRealConsoleUser) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const Person mia = {501, 20};
  const MiasRoot root(mia);
  test::PutFile(root.Join("Users/mia/Library/Logs/kobb.debug"), "");
  test::RunInRoot(root.folder.Path(), [&] {
    const RealMachine machine(mia);
    const RecordingTarget target;
    EXPECT_EQ(target.GetLevel(), 20);
  });
}

TEST(SetLogFile, LeavesTheRealOwnerOfAProductFolderThatIsThere) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const Person mia = {501, 20};
  const MiasRoot root(mia);
  test::MakeDirs(root.Join("Users/mia/Library/Logs/Caldris/Ixer"));
  test::SetOwner(root.Join("Users/mia/Library/Logs/Caldris/Ixer"), 502, 21);
  test::RunInRoot(root.folder.Path(), [&] {
    const RealMachine machine(mia);
    RecordingTarget target;
    EXPECT_TRUE(SetLogFile(target, "Ixer.log", nullptr));
  });
  EXPECT_EQ(Look(root.Join("Users/mia/Library/Logs/Caldris")), (OwnerAndMode{0, 0, 0755}));
  EXPECT_EQ(Look(root.Join("Users/mia/Library/Logs/Caldris/Ixer")), (OwnerAndMode{502, 21, 0755}));
}

// What mia has put where a product folder belongs, and a folder of root's that must not become
// hers.
TEST(SetLogFile, NeverGivesAwayWhatARealUsersLinkLeadsTo) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const Person mia = {501, 20};
  for (const test::MiasLink& link : test::kMiasLinks) {
    SCOPED_TRACE(std::string(link.place) + " " + link.destination);
    const MiasRoot root(mia);
    PutMiasLink(root, mia, link);
    test::RunInRoot(root.folder.Path(), [&] {
      const RealMachine machine(mia);
      RecordingTarget target;
      (void)SetLogFile(target, "Ixer.log", nullptr);
    });
    for (const auto& [path, item] : test::ReadTree(root.Join("canary"))) {
      EXPECT_EQ(Look(root.Join("canary/" + path)), (OwnerAndMode{0, 0, 0755})) << path;
    }
    EXPECT_EQ(test::GetLink(root.Join(link.place)), link.destination);
  }
}

TEST(SetLogFile, GoesThroughARealUsersLinkToHisOwnFolder) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const Person mia = {501, 20};
  const MiasRoot root(mia);
  test::MakeDirs(root.Join("mine"));
  test::SetOwner(root.Join("mine"), mia.uid, mia.gid);
  test::MakeDirs(root.Join("Users/mia/Library/Logs"));
  test::MakeLink(root.Join("Users/mia/Library/Logs/Caldris"), "/mine");
  test::SetOwner(root.Join("Users/mia/Library/Logs/Caldris"), mia.uid, mia.gid);
  test::RunInRoot(root.folder.Path(), [&] {
    const RealMachine machine(mia);
    RecordingTarget target;
    EXPECT_TRUE(SetLogFile(target, "Ixer.log", nullptr));
  });
  EXPECT_EQ(Look(root.Join("mine")), (OwnerAndMode{mia.uid, mia.gid, 0755}));
  EXPECT_EQ(Look(root.Join("mine/Ixer")), (OwnerAndMode{mia.uid, mia.gid, 0777}));
}

TEST(SetLogFile, WorksForAConsoleUserWithoutPrivilege) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const Person mia = {1000, 1000};
  const MiasRoot root(mia);
  test::RunInRoot(root.folder.Path(), [&] {
    ASSERT_EQ(setgid(mia.gid), 0);
    ASSERT_EQ(setuid(mia.uid), 0);
    const RealMachine machine(mia);
    RecordingTarget target;
    OpenOnDisk(target);
    EXPECT_TRUE(SetLogFile(target, "Ixer.log", nullptr));
  });
  EXPECT_EQ(Look(root.Join("Users/mia/Library/Logs")), (OwnerAndMode{mia.uid, mia.gid, 0700}));
  const OwnerAndMode product = {mia.uid, mia.gid, 0777};
  EXPECT_EQ(Look(root.Join("Users/mia/Library/Logs/Caldris")), product);
  EXPECT_EQ(Look(root.Join("Users/mia/Library/Logs/Caldris/Ixer")), product);
}

TEST(SetLogFile, HasNoFileForSomebodyWithoutPrivilegeBesideAConsoleUser) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const Person mia = {501, 20};
  const MiasRoot root(mia);
  test::RunInRoot(root.folder.Path(), [&] {
    ASSERT_EQ(setgid(1000), 0);
    ASSERT_EQ(setuid(1000), 0);
    const RealMachine machine(mia);
    RecordingTarget target;
    OpenOnDisk(target);
    EXPECT_FALSE(SetLogFile(target, "Ixer.log", nullptr));
    EXPECT_EQ(LogTargetForTesting::FilePath(target), "/Caldris/Ixer/Ixer.log");
    EXPECT_FALSE(LogTargetForTesting::Enabled(target));
  });
  EXPECT_FALSE(test::IsThere(root.Join("Caldris")));
  EXPECT_FALSE(test::IsThere(root.Join("Users/mia/Library")));
}

}  // namespace
