#include "fileutils/well_known_paths.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <sys/types.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "fileutils/path_kind.h"
#include "platform/host_for_testing.h"
#include "tests/support/fake_host.h"
#include "tests/support/files.h"
#include "tests/support/known_faults.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace {

using fileutils::GetWellKnownPath;
using fileutils::PathKind;
using test::CallRecord;

constexpr unsigned long kUser = 1;
constexpr unsigned long kLocal = 2;

// The guard around a call for a console user 501 and a process of root's.
CallRecord Guarded(const std::string& call) {
  return {"GetConsoleUser", "SetEffectiveUser(501)", call, "SetEffectiveUser(0)"};
}

// What a machine with the console user mia answers.
struct Machine {
  test::FakeHost host;

  Machine() {
    host.console.user = {.name = "mia", .uid = 501, .gid = 20};
    host.directories.home = "/Users/mia";
    host.directories.homes = {{"mia", "/Network/Users/mia"}};
    host.directories.folders = {
        {{kLocal, 1}, "/Applications"},
        {{kLocal, 5}, "/Library"},
        {{kLocal, 7}, "/Users"},
        {{kLocal, 14}, "/Library/Application Support"},
        {{kUser, 5}, "/Users/mia/Library"},
        {{kUser, 9}, "/Users/mia/Documents"},
        {{kUser, 12}, "/Users/mia/Desktop"},
        {{kUser, 14}, "/Users/mia/Library/Application Support"},
        {{kUser, 15}, "/Users/mia/Downloads"},
    };
    host.info.executable = "/X/Tool.app/Contents/MacOS/tool";
    host.info.bundle = "/X/Tool.app";
  }
};

const CallRecord kApplicationsCalls = {"FindDirectory(2,1)"};
const CallRecord kLibraryCalls = {"FindDirectory(2,5)"};
const CallRecord kUsersCalls = {"FindDirectory(2,7)"};
const CallRecord kAppSupportCalls = {"FindDirectory(2,14)"};
const CallRecord kHomeCalls = Guarded("HomeDirectory");
const CallRecord kUserLibraryCalls = Guarded("FindDirectory(1,5)");
const CallRecord kUserAppSupportCalls = Guarded("FindDirectory(1,14)");

const struct {
  std::uint32_t number;
  PathKind kind;
  const char* path;    // on the machine above
  CallRecord calls;    // what it asks for, in order
  bool failsWithBase;  // where no folder is found
  const char* suffix;  // what is put behind what was there then
} kKinds[] = {
    {0, fileutils::kApplications, "/Applications", kApplicationsCalls, true, ""},
    {2, fileutils::kLocalAppSupport, "/Library/Application Support", kAppSupportCalls, true, ""},
    {3, fileutils::kLocalAppSupportAlt, "/Library/Application Support", kAppSupportCalls, true, ""},
    {11, fileutils::kUserDocuments, "/Users/mia/Documents", Guarded("FindDirectory(1,9)"), false,
     ""},
    {13, fileutils::kUserAppSupport, "/Users/mia/Library/Application Support", kUserAppSupportCalls,
     false, ""},
    {14, fileutils::kUsersShared, "/Users/Shared", kUsersCalls, false, "/Shared"},
    {16, fileutils::kUtilities, "/Applications/Utilities", kApplicationsCalls, false, "/Utilities"},
    {17, fileutils::kLaunchAgents, "/Library/Application Support/../LaunchAgents/",
     kAppSupportCalls, false, "/../LaunchAgents/"},
    {21, fileutils::kVelmoraShared, "/Library/Application Support/Velmora", kAppSupportCalls, false,
     "/Velmora"},
    {22, fileutils::kVelmoraSharedAlt1, "/Library/Application Support/Velmora", kAppSupportCalls,
     false, "/Velmora"},
    {23, fileutils::kVelmoraSharedAlt2, "/Library/Application Support/Velmora", kAppSupportCalls,
     false, "/Velmora"},
    {24, fileutils::kUserVelmora, "/Users/mia/Library/Application Support/Velmora",
     kUserAppSupportCalls, false, "/Velmora"},
    {25, fileutils::kUsersSharedVelmora, "/Users/Shared/Velmora", kUsersCalls, false,
     "/Shared/Velmora"},
    {26, fileutils::kDunmarShared, "/Library/Application Support/Velmora/Dunmar", kAppSupportCalls,
     false, "/Velmora/Dunmar"},
    {27, fileutils::kUserDunmar, "/Users/mia/Library/Application Support/Velmora/Dunmar",
     kUserAppSupportCalls, false, "/Velmora/Dunmar"},
    {28, fileutils::kUsersSharedDunmar, "/Users/Shared/Velmora/Dunmar", kUsersCalls, false,
     "/Shared/Velmora/Dunmar"},
    {29, fileutils::kOstranderUtility, "/Applications/Utilities/Ostrander/", kApplicationsCalls,
     false, "/Utilities/Ostrander/"},
    {30, fileutils::kGorrakShared, "/Library/Application Support/Velmora/Dunmar/Gorrak",
     kAppSupportCalls, false, "/Velmora/Dunmar/Gorrak"},
    {31, fileutils::kUserGorrak, "/Users/mia/Library/Application Support/Velmora/Dunmar/Gorrak",
     kUserAppSupportCalls, false, "/Velmora/Dunmar/Gorrak"},
    {32, fileutils::kOstranderRefs, "/Library/Application Support/Velmora/Ostrander/OstranderRefs",
     kAppSupportCalls, false, "/Velmora/Ostrander/OstranderRefs"},
    {33, fileutils::kBrannockRefs, "/Library/Application Support/Velmora/BrannockRefs",
     kAppSupportCalls, false, "/Velmora/BrannockRefs"},
    {34, fileutils::kBrannockRefsAlt, "/Library/Application Support/Velmora/BrannockRefs",
     kAppSupportCalls, false, "/Velmora/BrannockRefs"},
    {35, fileutils::kBrannock, "/Library/Application Support/Velmora/Brannock", kAppSupportCalls,
     false, "/Velmora/Brannock"},
    {36, fileutils::kBrannockAlt, "/Library/Application Support/Velmora/Brannock", kAppSupportCalls,
     false, "/Velmora/Brannock"},
    {37, fileutils::kCaldrisUtility, "/Applications/Utilities/Velmora Caldris/", kApplicationsCalls,
     false, "/Utilities/Velmora Caldris/"},
    {38, fileutils::kCaldrisUtilityAlt, "/Applications/Utilities/Velmora Caldris/",
     kApplicationsCalls, false, "/Utilities/Velmora Caldris/"},
    {39, fileutils::kLocalPreferences, "/Library/Preferences", kLibraryCalls, true, ""},
    {40, fileutils::kUserPreferences, "/Users/mia/Library/Preferences", kUserLibraryCalls, false,
     "/Preferences"},
    {42, fileutils::kLocalLibrary, "/Library", kLibraryCalls, true, ""},
    {43, fileutils::kUserLibrary, "/Users/mia/Library", kUserLibraryCalls, false, ""},
    {44, fileutils::kUserDesktop, "/Users/mia/Desktop", Guarded("FindDirectory(1,12)"), false, ""},
    {45, fileutils::kUserDownloads, "/Users/mia/Downloads", Guarded("FindDirectory(1,15)"), false,
     ""},
    {46, fileutils::kFerrin, "/Library/Application Support/Velmora/Ferrin", kAppSupportCalls, false,
     "/Velmora/Ferrin"},
    {47, fileutils::kFerrinAlt, "/Library/Application Support/Velmora/Ferrin", kAppSupportCalls,
     false, "/Velmora/Ferrin"},
};

TEST(PathKind, HasFixedNumbers) {
  for (const auto& row : kKinds) {
    SCOPED_TRACE(row.number);
    EXPECT_EQ(static_cast<std::uint32_t>(row.kind), row.number);
  }
  EXPECT_EQ(static_cast<std::uint32_t>(fileutils::kHome), 9U);
  EXPECT_EQ(static_cast<std::uint32_t>(fileutils::kConsoleUserHome), 10U);
  EXPECT_EQ(static_cast<std::uint32_t>(fileutils::kTemp), 18U);
  EXPECT_EQ(static_cast<std::uint32_t>(fileutils::kProgramItem), 19U);
  EXPECT_EQ(static_cast<std::uint32_t>(fileutils::kProgramParent), 20U);
  EXPECT_EQ(static_cast<std::uint32_t>(fileutils::kUserLogs), 41U);
}

TEST(GetWellKnownPath, FindsTheFolderOfEachKindAsTheUserThatOwnsIt) {
  for (const auto& row : kKinds) {
    SCOPED_TRACE(row.number);
    Machine machine;
    std::string path;
    EXPECT_TRUE(GetWellKnownPath(row.kind, path));
    EXPECT_EQ(path, row.path);
    EXPECT_EQ(machine.host.calls, row.calls);
  }
}

TEST(GetWellKnownPath, ReplacesWhatTheCallerPassed) {
  for (const auto& row : kKinds) {
    SCOPED_TRACE(row.number);
    const Machine machine;
    std::string path = "before";
    EXPECT_TRUE(GetWellKnownPath(row.kind, path));
    EXPECT_EQ(path, row.path);
  }
}

TEST(GetWellKnownPath, PutsTheSuffixBehindWhatAFailedLookupLeft) {
  for (const auto& row : kKinds) {
    for (const std::string before : {"", "before"}) {
      SCOPED_TRACE(std::to_string(row.number) + " " + before);
      Machine machine;
      machine.host.directories.folders.clear();
      std::string path = before;
      EXPECT_EQ(GetWellKnownPath(row.kind, path), !row.failsWithBase);
      EXPECT_EQ(path, before + row.suffix);
      EXPECT_EQ(machine.host.calls, row.calls);
    }
  }
}

TEST(GetWellKnownPath, LooksUpAfreshAtEveryCall) {
  for (const auto& row : kKinds) {
    SCOPED_TRACE(row.number);
    Machine machine;
    std::string path;
    EXPECT_TRUE(GetWellKnownPath(row.kind, path));
    EXPECT_TRUE(GetWellKnownPath(row.kind, path));
    EXPECT_EQ(path, row.path);
    CallRecord twice = row.calls;
    twice.insert(twice.end(), row.calls.begin(), row.calls.end());
    EXPECT_EQ(machine.host.calls, twice);
  }
}

TEST(GetWellKnownPath, FailsForNumbersThatBelongToNobody) {
  for (const std::uint32_t number :
       {1U, 4U, 5U, 6U, 7U, 8U, 12U, 15U, 48U, 49U, 255U, 256U, 2147483648U, 4294967295U}) {
    for (const std::string before : {"", "before"}) {
      SCOPED_TRACE(std::to_string(number) + " " + before);
      Machine machine;
      std::string path = before;
      EXPECT_FALSE(GetWellKnownPath(static_cast<PathKind>(number), path));
      EXPECT_EQ(path, before);
      EXPECT_TRUE(machine.host.calls.empty());
    }
  }
}

TEST(GetWellKnownPath, FindsTheTemporaryFolderWithoutAsking) {
  for (const std::string before : {"", "before"}) {
    Machine machine;
    std::string path = before;
    EXPECT_TRUE(GetWellKnownPath(fileutils::kTemp, path));
    EXPECT_EQ(path, "/tmp");
    EXPECT_TRUE(machine.host.calls.empty());
  }
}

TEST(GetWellKnownPath, KeepsTheWayUpAndTheSlashOfTheLaunchAgents) {
  const Machine machine;
  std::string path;
  EXPECT_TRUE(GetWellKnownPath(fileutils::kLaunchAgents, path));
  EXPECT_EQ(path, "/Library/Application Support/../LaunchAgents/");
}

TEST(GetWellKnownPath, EndsTheUtilityFoldersInASlash) {
  const Machine machine;
  std::string path;
  EXPECT_TRUE(GetWellKnownPath(fileutils::kCaldrisUtilityAlt, path));
  EXPECT_EQ(path, "/Applications/Utilities/Velmora Caldris/");
  EXPECT_TRUE(GetWellKnownPath(fileutils::kOstranderUtility, path));
  EXPECT_EQ(path, "/Applications/Utilities/Ostrander/");
}

// Kind 9.

TEST(GetWellKnownPath, FindsTheHomeAsTheConsoleUser) {
  for (const std::string before : {"", "before"}) {
    Machine machine;
    std::string path = before;
    EXPECT_TRUE(GetWellKnownPath(fileutils::kHome, path));
    EXPECT_EQ(path, "/Users/mia");
    EXPECT_EQ(machine.host.calls, kHomeCalls);
  }
}

TEST(GetWellKnownPath, LeavesOutTheHomeThatCannotBeTold) {
  for (const PathKind kind : {fileutils::kHome, fileutils::kConsoleUserHome}) {
    for (const std::string before : {"", "before"}) {
      SCOPED_TRACE(std::to_string(kind) + " " + before);
      Machine machine;
      machine.host.console.user.reset();
      machine.host.directories.tellsHome = false;
      std::string path = before;
      EXPECT_TRUE(GetWellKnownPath(kind, path));
      EXPECT_EQ(path, before);
    }
  }
}

// Kind 10.

TEST(GetWellKnownPath, FindsTheConsoleUsersHomeByName) {
  for (const std::string before : {"", "before"}) {
    Machine machine;
    std::string path = before;
    EXPECT_TRUE(GetWellKnownPath(fileutils::kConsoleUserHome, path));
    EXPECT_EQ(path, "/Network/Users/mia");
    EXPECT_EQ(machine.host.calls, (CallRecord{"GetConsoleUser", "HomeDirectoryForUser(mia)"}));
  }
}

TEST(GetWellKnownPath, FallsBackToTheHomeWithNobodyAtTheConsole) {
  const std::optional<platform::ConsoleUser> nobodies[] = {
      std::nullopt,
      {{.name = "", .uid = 501, .gid = 20}},
      {{.name = "loginwindow", .uid = 88, .gid = 88}},
  };
  for (const auto& nobody : nobodies) {
    SCOPED_TRACE(nobody ? nobody->name : "no answer");
    for (const std::string before : {"", "before"}) {
      Machine machine;
      machine.host.console.user = nobody;
      machine.host.directories.home = "/root";
      std::string path = before;
      EXPECT_TRUE(GetWellKnownPath(fileutils::kConsoleUserHome, path));
      EXPECT_EQ(path, "/root");
      EXPECT_EQ(machine.host.calls,
                (CallRecord{"GetConsoleUser", "GetConsoleUser", "HomeDirectory"}));
    }
  }
}

TEST(GetWellKnownPath, FallsBackToTheHomeAsTheConsoleUserWhoseNameHasNone) {
  for (const bool emptyHome : {false, true}) {
    SCOPED_TRACE(emptyHome);
    Machine machine;
    machine.host.directories.homes.clear();
    if (emptyHome) machine.host.directories.homes["mia"] = "";
    std::string path;
    EXPECT_TRUE(GetWellKnownPath(fileutils::kConsoleUserHome, path));
    EXPECT_EQ(path, "/Users/mia");
    EXPECT_EQ(machine.host.calls,
              (CallRecord{"GetConsoleUser", "HomeDirectoryForUser(mia)", "GetConsoleUser",
                          "SetEffectiveUser(501)", "HomeDirectory", "SetEffectiveUser(0)"}));
  }
}

TEST(GetWellKnownPath, TakesTheCallersTextForTheHomeOfAConsoleUserWhoHasNone) {
  Machine machine;
  machine.host.directories.homes.clear();
  std::string path = "before";
  EXPECT_TRUE(GetWellKnownPath(fileutils::kConsoleUserHome, path));
  EXPECT_EQ(path, "before");
  EXPECT_EQ(machine.host.calls, (CallRecord{"GetConsoleUser", "HomeDirectoryForUser(mia)"}));
}

// Kinds 19 and 20.

TEST(GetWellKnownPath, FindsTheProgramAndTheFolderThatHoldsIt) {
  const struct {
    const char* name;
    const char* executable;
    const char* bundle;
    const char* item;
    const char* parent;
  } rows[] = {
      {"in a bundle", "/X/Tool.app/Contents/MacOS/tool", "/X/Tool.app", "/X/Tool.app", "/X"},
      {"bare", "/X/tool", "/X", "/X/tool", "/X"},
      {"bare at the top", "/tool", "/", "/tool", "/"},
      {"bare, the raw path kept", "/X//tool", "/X/", "/X//tool", "/X"},
      {"in a bundle, standardised", "/X/Tool.app/Contents/MacOS/tool", "/X/./Tool.app/",
       "/X/Tool.app", "/X"},
      {"in a folder of that name", "/a/b/MacOS/x", "/a", "/a", "/"},
      {"bare, its folder with a way up", "/X/y/../bin/tool", "/X/bin", "/X/y/../bin/tool",
       "/X/y/../bin"},
      {"bare, both with a way up", "/X/y/../bin/tool", "/X/y/../bin", "/X/y/../bin/tool",
       "/X/y/../bin"},
      {"bare, its bundle with a way up", "/X/bin/tool", "/X/y/../bin/", "/X/bin/tool", "/X/bin"},
      {"bare, its folder with a dot", "/X/./bin/tool", "/X/bin", "/X/./bin/tool", "/X/./bin"},
      {"in a bundle, with a way up", "/X/y/../Tool.app/Contents/MacOS/tool", "/X/y/../Tool.app",
       "/X/Tool.app", "/X"},
  };
  for (const auto& row : rows) {
    for (const std::string before : {"", "before"}) {
      SCOPED_TRACE(std::string(row.name) + " " + before);
      Machine machine;
      machine.host.info.executable = row.executable;
      machine.host.info.bundle = row.bundle;
      std::string path = before;
      EXPECT_TRUE(GetWellKnownPath(fileutils::kProgramItem, path));
      EXPECT_EQ(path, row.item);
      path = before;
      EXPECT_TRUE(GetWellKnownPath(fileutils::kProgramParent, path));
      EXPECT_EQ(path, row.parent);
      EXPECT_TRUE(machine.host.calls.empty());
    }
  }
}

TEST(GetWellKnownPath, TakesTheBundleWhereThePlatformCannotTellTheProgram) {
  Machine machine;
  machine.host.info.executable.reset();
  machine.host.info.bundle = "/X/./Tool.app/";
  std::string path = "before";
  EXPECT_TRUE(GetWellKnownPath(fileutils::kProgramItem, path));
  EXPECT_EQ(path, "/X/Tool.app");
  EXPECT_TRUE(GetWellKnownPath(fileutils::kProgramParent, path));
  EXPECT_EQ(path, "/X");
}

TEST(GetWellKnownPath, SucceedsWhereThePlatformCannotTellTheBundle) {
  Machine machine;
  machine.host.info.bundle.reset();
  std::string path = "before";
  EXPECT_TRUE(GetWellKnownPath(fileutils::kProgramItem, path));
  EXPECT_EQ(path, "before");
  // The parent of nothing is an empty text.
  EXPECT_TRUE(GetWellKnownPath(fileutils::kProgramParent, path));
  EXPECT_EQ(path, "");
}

// Kind 41.

struct LogsMachine : Machine {
  test::ScopedTempDir folder;
  LogsMachine() { host.directories.home = folder.Path(); }
};

TEST(GetWellKnownPath, MakesTheUserLogsFolderWithItsParent) {
  for (const std::string before : {"", "before"}) {
    LogsMachine machine;
    const test::ScopedUmask umask(0);
    std::string path = before;
    EXPECT_TRUE(GetWellKnownPath(fileutils::kUserLogs, path));
    EXPECT_EQ(path, machine.folder.Join("Library/Logs"));
    EXPECT_EQ(test::GetMode(machine.folder.Join("Library")), 0700U);
    EXPECT_EQ(test::GetMode(machine.folder.Join("Library/Logs")), 0700U);
    EXPECT_EQ(machine.host.calls, kHomeCalls);
  }
}

TEST(GetWellKnownPath, MakesTheUserLogsFolderInALibraryThatIsThere) {
  const LogsMachine machine;
  test::MakeDirs(machine.folder.Join("Library"));
  std::string path;
  EXPECT_TRUE(GetWellKnownPath(fileutils::kUserLogs, path));
  EXPECT_EQ(path, machine.folder.Join("Library/Logs"));
  EXPECT_EQ(test::GetMode(machine.folder.Join("Library")), 0755U);
  EXPECT_EQ(test::GetMode(machine.folder.Join("Library/Logs")), 0700U);
}

TEST(GetWellKnownPath, LeavesAUserLogsFolderThatIsThereAsItIs) {
  const LogsMachine machine;
  test::MakeDirs(machine.folder.Join("Library/Logs"));
  std::string path;
  EXPECT_TRUE(GetWellKnownPath(fileutils::kUserLogs, path));
  EXPECT_EQ(path, machine.folder.Join("Library/Logs"));
  EXPECT_EQ(test::GetMode(machine.folder.Join("Library/Logs")), 0755U);
}

TEST(GetWellKnownPath, FailsWhereTheLibraryForTheUserLogsCannotBeMade) {
  LogsMachine machine;
  machine.host.directories.home = machine.folder.Join("missing");
  for (const std::string before : {"", "before"}) {
    std::string path = before;
    EXPECT_FALSE(GetWellKnownPath(fileutils::kUserLogs, path));
    EXPECT_EQ(path, before);
  }
  EXPECT_FALSE(test::IsThere(machine.folder.Join("missing")));
}

TEST(GetWellKnownPath, MakesNoUserLogsFolderWhereTheHomeCannotBeTold) {
  if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  test::RunInRoot(root.Path(), [] {
    Machine machine;
    machine.host.directories.tellsHome = false;
    std::string path = "before";
    EXPECT_FALSE(GetWellKnownPath(fileutils::kUserLogs, path));
    EXPECT_EQ(path, "before");
  });
  EXPECT_FALSE(test::IsThere(root.Join("Library")));
}

TEST(GetWellKnownPath, FailsWhereTheUserLogsFolderCannotBeMade) {
  for (const bool isLink : {false, true}) {
    SCOPED_TRACE(isLink);
    const LogsMachine machine;
    if (isLink) {
      test::MakeLink(machine.folder.Join("Library"), "nothing");
    } else {
      test::PutFile(machine.folder.Join("Library"), "x");
    }
    std::string path = "before";
    EXPECT_FALSE(GetWellKnownPath(fileutils::kUserLogs, path));
    EXPECT_EQ(path, "before");
  }
}

TEST(GetWellKnownPath, TakesWhateverIsThereForTheUserLogsFolder) {
  const LogsMachine machine;
  test::PutFile(machine.folder.Join("Library/Logs"), "x");
  std::string path;
  EXPECT_TRUE(GetWellKnownPath(fileutils::kUserLogs, path));
  EXPECT_EQ(path, machine.folder.Join("Library/Logs"));
}

// A folder whose path has so many bytes, in a folder of a shorter path.
std::string FolderOfLength(const std::string& base, std::size_t length) {
  std::string path = base;
  while (path.size() + 1 < length) {
    path += "/" + std::string(std::min<std::size_t>(length - path.size() - 1, 200), 'h');
    // A name needs a byte beside its slash.
    if (path.size() + 1 == length) path.resize(path.size() - 1);
  }
  return path;
}

TEST(GetWellKnownPath, HasNoUserLogsFolderForAHomeThatIsTooLong) {
  // "/Library/Logs" has 13 bytes, and 511 are the most that a path here can have.
  for (const std::size_t length : {498U, 499U, 1000U}) {
    SCOPED_TRACE(length);
    LogsMachine machine;
    const std::string home = FolderOfLength(machine.folder.Path(), length);
    ASSERT_EQ(home.size(), length);
    test::MakeDirs(home);
    machine.host.directories.home = home;
    std::string path = "before";
    EXPECT_EQ(GetWellKnownPath(fileutils::kUserLogs, path), length == 498);
    EXPECT_EQ(path, length == 498 ? home + "/Library/Logs" : "before");
  }
}

// The guard and what comes after it.

// Records what a text and a folder are at each switch of the user.
class WatchingIdentity final : public platform::ProcessIdentity {
 public:
  WatchingIdentity(const std::string& text, std::string folder)
      : text_(text), folder_(std::move(folder)) {}
  std::vector<std::string> seen;

  [[nodiscard]] uid_t EffectiveUser() override { return user_; }
  [[nodiscard]] int SetEffectiveUser(uid_t user) override {
    seen.push_back(std::to_string(user) + " " + text_ + (test::IsThere(folder_) ? " made" : ""));
    user_ = user;
    return 0;
  }

 private:
  const std::string& text_;
  std::string folder_;
  uid_t user_ = 0;
};

TEST(GetWellKnownPath, PutsTheSuffixOnAfterTheSwitchBack) {
  const struct {
    PathKind kind;
    const char* base;
    const char* path;
  } rows[] = {
      {fileutils::kUserVelmora, "/Users/mia/Library/Application Support",
       "/Users/mia/Library/Application Support/Velmora"},
      {fileutils::kUserDunmar, "/Users/mia/Library/Application Support",
       "/Users/mia/Library/Application Support/Velmora/Dunmar"},
      {fileutils::kUserGorrak, "/Users/mia/Library/Application Support",
       "/Users/mia/Library/Application Support/Velmora/Dunmar/Gorrak"},
      {fileutils::kUserPreferences, "/Users/mia/Library", "/Users/mia/Library/Preferences"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    const Machine machine;
    std::string path = "before";
    WatchingIdentity identity(path, "/nothing-of-this-name");
    platform::ScopedHost host;
    host->identity = &identity;
    EXPECT_TRUE(GetWellKnownPath(row.kind, path));
    EXPECT_EQ(path, row.path);
    EXPECT_EQ(identity.seen, (CallRecord{"501 before", std::string("0 ") + row.base}));
  }
}

TEST(GetWellKnownPath, MakesTheUserLogsFolderAfterTheSwitchBack) {
  const LogsMachine machine;
  std::string path = "before";
  WatchingIdentity identity(path, machine.folder.Join("Library"));
  platform::ScopedHost host;
  host->identity = &identity;
  EXPECT_TRUE(GetWellKnownPath(fileutils::kUserLogs, path));
  EXPECT_EQ(identity.seen, (CallRecord{"501 before", "0 before"}));
}

class ThrowingDirectories final : public platform::DirectoryLookup {
 public:
  [[nodiscard]] bool FindDirectory(unsigned long, unsigned long, std::string*) override { throw 1; }
  [[nodiscard]] std::optional<std::string> HomeDirectory() override { throw 1; }
  [[nodiscard]] bool HomeDirectoryForUser(const std::string&, std::string*) override {
    return false;
  }
};

TEST(GetWellKnownPath, SwitchesBackWhenALookupThrows) {
  for (const PathKind kind :
       {fileutils::kHome, fileutils::kConsoleUserHome, fileutils::kUserDocuments,
        fileutils::kUserAppSupport, fileutils::kUserVelmora, fileutils::kUserDunmar,
        fileutils::kUserGorrak, fileutils::kUserPreferences, fileutils::kUserLogs,
        fileutils::kUserLibrary, fileutils::kUserDesktop, fileutils::kUserDownloads}) {
    SCOPED_TRACE(kind);
    Machine machine;
    ThrowingDirectories directories;
    platform::ScopedHost host;
    host->directories = &directories;
    std::string path;
    EXPECT_THROW((void)GetWellKnownPath(kind, path), int);
    ASSERT_FALSE(machine.host.calls.empty());
    EXPECT_EQ(machine.host.calls.back(), "SetEffectiveUser(0)");
    EXPECT_EQ(machine.host.identity.user, 0U);
  }
}

// The rest of the family.

TEST(GetSystemDirectory, AsksForTheDomainFirst) {
  Machine machine;
  std::string path = "before";
  EXPECT_TRUE(fileutils::GetSystemDirectory(1, 9, path));
  EXPECT_EQ(path, "/Users/mia/Documents");
  EXPECT_EQ(machine.host.calls, CallRecord{"FindDirectory(1,9)"});
}

TEST(GetSystemDirectory, FailsWhereThereIsNoSuchFolder) {
  const Machine machine;
  std::string path = "before";
  EXPECT_FALSE(fileutils::GetSystemDirectory(9, 1, path));
  EXPECT_EQ(path, "before");
}

TEST(GetUserHomeDirectory, FindsTheHomeAsTheConsoleUser) {
  Machine machine;
  std::string path = "before";
  fileutils::GetUserHomeDirectory(path);
  EXPECT_EQ(path, "/Users/mia");
  EXPECT_EQ(machine.host.calls, kHomeCalls);
}

TEST(GetUserHomeDirectory, ChangesNothingWhereTheHomeCannotBeTold) {
  Machine machine;
  machine.host.directories.tellsHome = false;
  std::string path = "before";
  fileutils::GetUserHomeDirectory(path);
  EXPECT_EQ(path, "before");
  EXPECT_EQ(machine.host.calls, kHomeCalls);
}

TEST(GetExecutableFolder, FindsTheProgramWithoutSwitching) {
  Machine machine;
  std::string path = "before";
  fileutils::GetExecutableFolder(path);
  EXPECT_EQ(path, "/X/Tool.app");
  EXPECT_TRUE(machine.host.calls.empty());
}

TEST(GetUserVelmoraFolder, FindsItAsTheConsoleUser) {
  Machine machine;
  std::string path = "before";
  fileutils::GetUserVelmoraFolder(path);
  EXPECT_EQ(path, "/Users/mia/Library/Application Support/Velmora");
  EXPECT_EQ(machine.host.calls, kUserAppSupportCalls);
  machine.host.directories.folders.clear();
  path = "before";
  fileutils::GetUserVelmoraFolder(path);
  EXPECT_EQ(path, "before/Velmora");
}

TEST(GetUsersSharedVelmoraFolder, FindsItWithoutSwitching) {
  Machine machine;
  std::string path = "before";
  fileutils::GetUsersSharedVelmoraFolder(path);
  EXPECT_EQ(path, "/Users/Shared/Velmora");
  EXPECT_EQ(machine.host.calls, kUsersCalls);
  machine.host.directories.folders.clear();
  path = "before";
  fileutils::GetUsersSharedVelmoraFolder(path);
  EXPECT_EQ(path, "before/Shared/Velmora");
}

TEST(GetUserLibraryFolder, FindsItAsTheConsoleUser) {
  Machine machine;
  std::string path = "before";
  fileutils::GetUserLibraryFolder(path);
  EXPECT_EQ(path, "/Users/mia/Library");
  EXPECT_EQ(machine.host.calls, kUserLibraryCalls);
  machine.host.directories.folders.clear();
  path = "before";
  fileutils::GetUserLibraryFolder(path);
  EXPECT_EQ(path, "before");
}

// The real thing.

TEST(GetWellKnownPath, FindsTheLocalFoldersOfAStandardSystemAndMakesThem) {
  if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  test::RunInRoot(root.Path(), [] {
    const struct {
      PathKind kind;
      const char* path;
      const char* folder;
    } rows[] = {
        {fileutils::kApplications, "/Applications", "/Applications"},
        {fileutils::kLaunchAgents, "/Library/Application Support/../LaunchAgents/",
         "/Library/Application Support"},
        {fileutils::kUsersShared, "/Users/Shared", "/Users"},
        {fileutils::kCaldrisUtilityAlt, "/Applications/Utilities/Velmora Caldris/",
         "/Applications"},
        {fileutils::kLocalPreferences, "/Library/Preferences", "/Library"},
    };
    for (const auto& row : rows) {
      SCOPED_TRACE(row.path);
      std::string path;
      EXPECT_TRUE(GetWellKnownPath(row.kind, path));
      EXPECT_EQ(path, row.path);
      EXPECT_TRUE(test::IsThere(row.folder));
    }
  });
}

TEST(GetWellKnownPath, FindsTheRunningTestProgram) {
  if (test::HasFault(test::Fault::kTakesAFolderOfItsOwnForBundle)) {
    GTEST_SKIP() << "GNUstep takes a folder that is not there for the program";
  }
  std::string item;
  EXPECT_TRUE(GetWellKnownPath(fileutils::kProgramItem, item));
  EXPECT_TRUE(test::IsThere(item));
  std::string parent;
  EXPECT_TRUE(GetWellKnownPath(fileutils::kProgramParent, parent));
  EXPECT_TRUE(item.starts_with(parent + "/"));
}

// Every guarded kind with real users: root runs, mia (501) is at the console.
TEST(GetWellKnownPath, LandsInTheConsoleUsersHomeWithRealUsers) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const struct {
    PathKind kind;
    const char* userName;  // of the console user 501
    const char* path;
    const char* made;  // the folder that the call makes, none where empty
    uid_t maker;
  } rows[] = {
      {fileutils::kHome, "mia", "/Users/mia", "", 0},
      // The name has no account, the number has: the home is found by the number.
      {fileutils::kConsoleUserHome, "nobody-known", "/Users/mia", "", 0},
      {fileutils::kConsoleUserHome, "mia", "/Users/mia", "", 0},
      {fileutils::kUserDocuments, "mia", "/Users/mia/Documents", "Documents", 501},
      {fileutils::kUserAppSupport, "mia", "/Users/mia/Library/Application Support",
       "Library/Application Support", 501},
      {fileutils::kUserVelmora, "mia", "/Users/mia/Library/Application Support/Velmora",
       "Library/Application Support", 501},
      {fileutils::kUserDunmar, "mia", "/Users/mia/Library/Application Support/Velmora/Dunmar",
       "Library/Application Support", 501},
      {fileutils::kUserGorrak, "mia",
       "/Users/mia/Library/Application Support/Velmora/Dunmar/Gorrak",
       "Library/Application Support", 501},
      {fileutils::kUserPreferences, "mia", "/Users/mia/Library/Preferences", "Library", 501},
      // Only the home is looked up as mia; the folders are made by the user that runs.
      {fileutils::kUserLogs, "mia", "/Users/mia/Library/Logs", "Library/Logs", 0},
      {fileutils::kUserLibrary, "mia", "/Users/mia/Library", "Library", 501},
      {fileutils::kUserDesktop, "mia", "/Users/mia/Desktop", "Desktop", 501},
      {fileutils::kUserDownloads, "mia", "/Users/mia/Downloads", "Downloads", 501},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    const test::ScopedTempDir root;
    test::PutFile(root.Join("etc/passwd"),
                  "root:x:0:0:root:/root:/bin/sh\nmia:x:501:20:Mia:/Users/mia:/bin/sh\n");
    test::MakeDirs(root.Join("root"));
    test::MakeDirs(root.Join("Users/mia"));
    test::SetOwner(root.Join("Users/mia"), 501, 20);
    test::RunInRoot(root.Path(), [&row] {
      SCOPED_TRACE(row.path);
      CallRecord calls;
      test::FakeConsole console(&calls);
      console.user = {.name = row.userName, .uid = 501, .gid = 20};
      platform::ScopedHost host;
      host->console = &console;
      std::string path;
      EXPECT_TRUE(GetWellKnownPath(row.kind, path));
      EXPECT_EQ(path, row.path);
      EXPECT_EQ(geteuid(), 0U);
    });
    const std::string made = row.made;
    for (std::size_t end = made.find('/'); !made.empty(); end = made.find('/', end + 1)) {
      const std::string level = root.Join("Users/mia/" + made.substr(0, end));
      EXPECT_EQ(test::GetMode(level), 0700U) << level;
      EXPECT_EQ(test::GetOwner(level), row.maker) << level;
      if (end == std::string::npos) break;
    }
    EXPECT_FALSE(test::IsThere(root.Join("root/Library")));
  }
}

TEST(GetWellKnownPath, MakesTheLogsFolderBehindAUsersLinkOnlyInHisOwnFolder) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  for (const uid_t owner : {uid_t{501}, uid_t{502}}) {
    SCOPED_TRACE(owner);
    const test::ScopedTempDir root;
    test::MakeDirs(root.Join("home"));
    test::MakeDirs(root.Join("elsewhere"));
    test::SetOwner(root.Join("elsewhere"), owner, 20);
    test::MakeLink(root.Join("home/Library"), "/elsewhere");
    test::SetOwner(root.Join("home/Library"), 501, 20);
    test::RunInRoot(root.Path(), [owner] {
      test::FakeHost host;
      host.directories.home = "/home";
      std::string path;
      EXPECT_EQ(GetWellKnownPath(fileutils::kUserLogs, path), owner == 501);
      EXPECT_EQ(path, owner == 501 ? "/home/Library/Logs" : "");
    });
    EXPECT_EQ(test::IsThere(root.Join("elsewhere/Logs")), owner == 501);
  }
}

}  // namespace
