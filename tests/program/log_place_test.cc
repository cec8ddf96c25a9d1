#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/types.h>
#include <unistd.h>

#include "tests/program/log_records.h"
#include "tests/support/files.h"
#include "tests/support/known_faults.h"

// Whose log it is and where, and what stands in its place. What the program does besides is an
// installation that changes nothing but the manifest, as a sign of life.

namespace test {

namespace {

constexpr uid_t kMia = 1000;
constexpr uid_t kGreta = 1001;
constexpr mode_t kEverybodys = 0666;

constexpr const char* kMiasLog = "/Users/mia/Library/Logs/Caldris/Ixer/Ixer.log";
constexpr const char* kGretasLog = "/Users/greta/Library/Logs/Caldris/Ixer/Ixer.log";
constexpr const char* kLogOfTheDisk = "/Caldris/Ixer/Ixer.log";
constexpr const char* kManifestPlace =
    "/Library/Application Support/Velmora/Pellan/specifiers/caldris.xml";

const Changes kDone = {"~ Library/Application Support/Velmora/Pellan/specifiers/caldris.xml"};

Changes DoneAnd(const Changes& others) {
  Changes all = others;
  all.insert(all.end(), kDone.begin(), kDone.end());
  std::sort(all.begin(), all.end(),
            [](const std::string& a, const std::string& b) { return a.substr(2) < b.substr(2); });
  return all;
}

// The folders and the log in a home folder in which nothing was before.
Changes NewLog(const std::string& home) {
  return DoneAnd({"+ " + home + "/Library", "+ " + home + "/Library/Logs",
                  "+ " + home + "/Library/Logs/Caldris", "+ " + home + "/Library/Logs/Caldris/Ixer",
                  "+ " + home + "/Library/Logs/Caldris/Ixer/Ixer.log"});
}

const Changes kNewLogOfTheDisk =
    DoneAnd({"+ Caldris", "+ Caldris/Ixer", "+ Caldris/Ixer/Ixer.log"});

const Lines kInstall = {
    Parser("INFO", "Parsing the command line provided. Number of command line arguments is 2"),
    Hook("INFO",
         "Inside CreatePellanSpecifierFile | Successfully created Ixer Pellan Specifier file at "
         "/Library/Application Support/Velmora/Pellan/specifiers/caldris.xml"),
    Hook("INFO",
         "Inside GetZintShortcutPath | Zint shortcut path: "
         "/Applications/Velmora Caldris/Velmora Caldris"),
    Hook("INFO",
         "Inside GetZintShortcutPath | Zint shortcut path: "
         "/Applications/Velmora Caldris/Velmora Caldris"),
    Hook("INFO",
         "Inside DeleteZintShortcut | Successfully deleted Zint shortcut at path "
         "/Applications/Velmora Caldris/Velmora Caldris"),
    Hook("INFO",
         "Inside CreateZintShortcut | Successfully created Zint shortcut at path: "
         "/Applications/Velmora Caldris/Velmora Caldris for "
         "/Applications/Utilities/Velmora Caldris/Ixer/Caldris.app")};

class LogPlace : public LogTest {
 protected:
  LogPlace() {
    root.AddEarlierInstallation();
    std::filesystem::remove_all(root.Join("/Installer/Caldris.app"));
    PutFile(root.Join("/Elsewhere/canary"), "canary");
    SetMode(root.Join("/Elsewhere/canary"), 0640);
  }

  // Runs an installation.
  Changes Install(const RunOptions& options = {}) const {
    return root.RunWithLog({"--install=1"}, options).changes;
  }

  // The manifest as it was, to be changed by another run.
  void PutOldManifest() const { PutFile(root.Join(kManifestPlace), "old"); }

  void MakeHome(const std::string& home, uid_t owner) const {
    MakeDirs(root.Join(home));
    SetOwner(root.Join(home), owner, owner);
  }

  void ExpectItem(const std::string& path, uid_t owner, mode_t mode) const {
    SCOPED_TRACE(path);
    EXPECT_EQ(GetOwner(root.Join(path)), owner);
    EXPECT_EQ(GetGroup(root.Join(path)), gid_t{owner});
    EXPECT_EQ(GetMode(root.Join(path)), mode);
  }
};

using LogOwner = LogPlace;

TEST_F(LogOwner, IsRootWhileNobodyIsAtTheConsole) {
  EXPECT_EQ(Install(), NewLog("root"));
  EXPECT_EQ(GetMode(root.Join("/root/Library")), mode_t{0700});
  EXPECT_EQ(GetMode(root.Join("/root/Library/Logs")), mode_t{0700});
  EXPECT_EQ(GetMode(root.Join("/root/Library/Logs/Caldris")), mode_t{0755});
  EXPECT_EQ(GetMode(root.Join("/root/Library/Logs/Caldris/Ixer")), mode_t{0755});
  EXPECT_EQ(GetMode(root.Join(kRootsLog)), kEverybodys);
}

TEST_F(LogOwner, IsThePersonAtTheConsole) {
  NEED_CONSOLE(root, kMia);
  MakeHome("/Users/mia", kMia);
  EXPECT_EQ(Log({"--install=1"}, {}, kMiasLog), kInstall);
  // Only the two product folders are hers; root has made the rest.
  ExpectItem("/Users/mia/Library", 0, 0700);
  ExpectItem("/Users/mia/Library/Logs", 0, 0700);
  ExpectItem("/Users/mia/Library/Logs/Caldris", kMia, 0777);
  ExpectItem("/Users/mia/Library/Logs/Caldris/Ixer", kMia, 0777);
  ExpectItem(kMiasLog, 0, kEverybodys);
  EXPECT_FALSE(IsThere(root.Join("/root/Library")));
}

TEST_F(LogOwner, GetsBothProductFoldersWhereOneIsNew) {
  NEED_CONSOLE(root, kMia);
  MakeHome("/Users/mia", kMia);
  MakeDirs(root.Join("/Users/mia/Library/Logs/Caldris"));
  EXPECT_EQ(Install(),
            DoneAnd({"~ Users/mia/Library/Logs/Caldris", "+ Users/mia/Library/Logs/Caldris/Ixer",
                     "+ Users/mia/Library/Logs/Caldris/Ixer/Ixer.log"}));
  ExpectItem("/Users/mia/Library", 0, 0755);
  ExpectItem("/Users/mia/Library/Logs", 0, 0755);
  ExpectItem("/Users/mia/Library/Logs/Caldris", kMia, 0777);
  ExpectItem("/Users/mia/Library/Logs/Caldris/Ixer", kMia, 0777);
}

TEST_F(LogOwner, DoesNotGetProductFoldersThatWereThere) {
  NEED_CONSOLE(root, kMia);
  MakeHome("/Users/mia", kMia);
  MakeDirs(root.Join("/Users/mia/Library/Logs/Caldris/Ixer"));
  EXPECT_EQ(Install(), DoneAnd({"+ Users/mia/Library/Logs/Caldris/Ixer/Ixer.log"}));
  ExpectItem("/Users/mia/Library/Logs/Caldris", 0, 0755);
  ExpectItem("/Users/mia/Library/Logs/Caldris/Ixer", 0, 0755);
  ExpectItem(kMiasLog, 0, kEverybodys);
}

TEST_F(LogOwner, HasALogInTheRootFolderOfTheDiskWhereThereIsNoHome) {
  NEED_CONSOLE(root, kMia);
  EXPECT_EQ(Install(), kNewLogOfTheDisk);
  ExpectItem("/Caldris", kMia, 0777);
  ExpectItem("/Caldris/Ixer", kMia, 0777);
  ExpectItem(kLogOfTheDisk, 0, kEverybodys);
}

TEST_F(LogOwner, MayBeTheOneWhoRunsTheProgram) {
  NEED_CONSOLE(root, kMia);
  MakeHome("/Users/mia", kMia);
  RunOptions options;
  options.user = kMia;
  const Lines lines = Log({}, options, kMiasLog);
  // The rest is about the manifest, which she may not delete.
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[1],
            Hook("INFO",
                 "Inside DeletePellanSpecifierFile | Unable to delete pellan Specifier file at "
                 "/Library/Application Support/Velmora/Pellan/specifiers/caldris.xml"));
  ExpectItem("/Users/mia/Library", kMia, 0700);
  ExpectItem("/Users/mia/Library/Logs", kMia, 0700);
  ExpectItem("/Users/mia/Library/Logs/Caldris", kMia, 0777);
  ExpectItem("/Users/mia/Library/Logs/Caldris/Ixer", kMia, 0777);
  ExpectItem(kMiasLog, kMia, kEverybodys);
}

TEST_F(LogOwner, MayBeAnybodyWhileNobodyIsAtTheConsole) {
  NEED_REAL_ROOT();
  MakeHome("/Users/greta", kGreta);
  RunOptions options;
  options.user = kGreta;
  EXPECT_EQ(Log({}, options, kGretasLog).size(), 3U);
  ExpectItem("/Users/greta/Library", kGreta, 0700);
  ExpectItem("/Users/greta/Library/Logs", kGreta, 0700);
  ExpectItem("/Users/greta/Library/Logs/Caldris", kGreta, 0755);
  ExpectItem("/Users/greta/Library/Logs/Caldris/Ixer", kGreta, 0755);
  ExpectItem(kGretasLog, kGreta, kEverybodys);
}

TEST_F(LogOwner, IsNobodyWhileSomebodyElseIsAtTheConsole) {
  NEED_CONSOLE(root, kMia);
  MakeHome("/Users/mia", kMia);
  MakeHome("/Users/greta", kGreta);
  RunOptions options;
  options.user = kGreta;
  EXPECT_EQ(Install(options), Changes());
}

TEST_F(LogOwner, SharesTheLogWithRoot) {
  NEED_CONSOLE(root, kMia);
  MakeHome("/Users/mia", kMia);
  EXPECT_EQ(Log({"--install=1"}, {}, kMiasLog), kInstall);
  // Root has made the folders above for itself.
  SetMode(root.Join("/Users/mia/Library"), 0755);
  SetMode(root.Join("/Users/mia/Library/Logs"), 0755);
  RunOptions options;
  options.user = kMia;
  EXPECT_EQ(Log({}, options, kMiasLog).size(), 3U);
  PutOldManifest();
  EXPECT_EQ(Log({"--install=1"}, {}, kMiasLog), kInstall);
  ExpectItem(kMiasLog, 0, kEverybodys);
}

TEST_F(LogPlace, KeepsTheModeOfALogThatWasThere) {
  PutFile(root.Join(kRootsLog), "");
  SetMode(root.Join(kRootsLog), 0600);
  EXPECT_EQ(Log({"--install=1"}), kInstall);
  EXPECT_EQ(GetMode(root.Join(kRootsLog)), mode_t{0600});
}

TEST_F(LogPlace, GetsALogForEverybodyWhateverTheUmask) {
  const struct {
    mode_t umask;
    mode_t folder;
  } rows[] = {{0000, 0775}, {0022, 0755}, {0077, 0700}, {0777, 0000}};
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << std::oct << row.umask);
    std::filesystem::remove_all(root.Join("/root/Library"));
    RunOptions options;
    options.umask = row.umask;
    if (row.umask == 0777 && !WhyNoRealRoot().empty()) continue;
    EXPECT_EQ(Log({"--install=1"}, options), kInstall);
    EXPECT_EQ(GetMode(root.Join(kRootsLog)), kEverybodys);
    EXPECT_EQ(GetMode(root.Join("/root/Library/Logs")), mode_t{0700} & ~row.umask);
    EXPECT_EQ(GetMode(root.Join("/root/Library/Logs/Caldris")), row.folder);
    EXPECT_EQ(GetMode(root.Join("/root/Library/Logs/Caldris/Ixer")), row.folder);
  }
}

// What stands in the log's place.

TEST_F(LogPlace, WithALinkGetsAFileAndWhatTheLinkLedToStays) {
  for (const char* destination :
       {"/Elsewhere/canary", "../../../../../Elsewhere/canary", "/Elsewhere"}) {
    SCOPED_TRACE(destination);
    PutOldManifest();
    std::filesystem::remove_all(root.Join("/root/Library"));
    MakeDirs(root.Join("/root/Library/Logs/Caldris/Ixer"));
    MakeLink(root.Join(kRootsLog), destination);
    EXPECT_EQ(Install(), DoneAnd({"~ root/Library/Logs/Caldris/Ixer/Ixer.log"}));
    EXPECT_EQ(SplitRecords(GetFile(root.Join(kRootsLog)).value_or("")).size(), kInstall.size());
    EXPECT_EQ(GetMode(root.Join(kRootsLog)), kEverybodys);
  }
}

TEST_F(LogPlace, WithALinkThatDanglesGetsAFileAndNothingBehindTheLink) {
  MakeDirs(root.Join("/root/Library/Logs/Caldris/Ixer"));
  MakeLink(root.Join(kRootsLog), "/Elsewhere/new");
  EXPECT_EQ(Install(), DoneAnd({"~ root/Library/Logs/Caldris/Ixer/Ixer.log"}));
  EXPECT_EQ(SplitRecords(GetFile(root.Join(kRootsLog)).value_or("")).size(), kInstall.size());
  EXPECT_EQ(GetMode(root.Join(kRootsLog)), kEverybodys);
}

TEST_F(LogPlace, WithALinkOfSomebodyElseGetsAFile) {
  NEED_CONSOLE(root, kMia);
  MakeHome("/Users/mia", kMia);
  MakeDirs(root.Join("/Users/mia/Library/Logs/Caldris/Ixer"));
  MakeLink(root.Join(kMiasLog), "/Elsewhere/canary");
  for (const char* path :
       {"/Users/mia/Library", "/Users/mia/Library/Logs", "/Users/mia/Library/Logs/Caldris",
        "/Users/mia/Library/Logs/Caldris/Ixer", kMiasLog}) {
    SetOwner(root.Join(path), kMia, kMia);
  }
  EXPECT_EQ(Install(), DoneAnd({"~ Users/mia/Library/Logs/Caldris/Ixer/Ixer.log"}));
  ExpectItem(kMiasLog, 0, kEverybodys);
}

TEST_F(LogPlace, WithAFileOfSeveralNamesIsLeftAlone) {
  MakeDirs(root.Join("/root/Library/Logs/Caldris/Ixer"));
  MakeHardLink(root.Join(kRootsLog), root.Join("/Elsewhere/canary"));
  EXPECT_EQ(Install(), kDone);
}

TEST_F(LogPlace, WithAFolderIsLeftAlone) {
  MakeDirs(root.Join(kRootsLog));
  EXPECT_EQ(Install(), kDone);
}

TEST_F(LogPlace, WithAFifoIsLeftAlone) {
  MakeDirs(root.Join("/root/Library/Logs/Caldris/Ixer"));
  MakeFifo(root.Join(kRootsLog));
  EXPECT_EQ(Install(), kDone);
}

TEST_F(LogPlace, WithAFifoThatIsReadIsLeftAlone) {
  MakeDirs(root.Join("/root/Library/Logs/Caldris/Ixer"));
  MakeFifo(root.Join(kRootsLog));
  RunOptions options;
  // It stays open in the program.
  options.beforeStart = [] { EXPECT_NE(open(kRootsLog, O_RDWR | O_NONBLOCK), -1); };
  EXPECT_EQ(Install(options), kDone);
}

TEST_F(LogPlace, WithACharacterDeviceLosesTheRecords) {
  NEED_REAL_ROOT();
  MakeDirs(root.Join("/root/Library/Logs/Caldris/Ixer"));
  if (!MakeDevice(root.Join(kRootsLog), 1, 3)) {
    GTEST_SKIP() << "no device can be made: " << std::strerror(errno);
  }
  EXPECT_EQ(Install(), kDone);
}

// What stands in the place of a folder.

TEST_F(LogPlace, IsTheRootFolderOfTheDiskWhereThereIsNoHome) {
  std::filesystem::remove_all(root.Join("/root"));
  EXPECT_EQ(Install(), kNewLogOfTheDisk);
  EXPECT_EQ(GetMode(root.Join("/Caldris")), mode_t{0755});
  EXPECT_EQ(GetMode(root.Join("/Caldris/Ixer")), mode_t{0755});
  EXPECT_EQ(GetMode(root.Join(kLogOfTheDisk)), kEverybodys);
  PutOldManifest();
  EXPECT_EQ(Log({"--install=1"}, {}, kLogOfTheDisk), kInstall);
}

TEST_F(LogPlace, IsTheRootFolderOfTheDiskWhereAFileIsInTheWayOfTheLibrary) {
  PutFile(root.Join("/root/Library"), "in the way");
  EXPECT_EQ(Install(), kNewLogOfTheDisk);
}

TEST_F(LogPlace, IsNowhereWhereAFileIsInTheWayOfTheLogs) {
  PutFile(root.Join("/root/Library/Logs"), "in the way");
  EXPECT_EQ(Install(), kDone);
}

TEST_F(LogPlace, IsNowhereWhereAFileIsInTheWayOfTheProductFolders) {
  for (const char* path : {"/root/Library/Logs/Caldris", "/root/Library/Logs/Caldris/Ixer"}) {
    SCOPED_TRACE(path);
    PutOldManifest();
    std::filesystem::remove_all(root.Join("/root/Library"));
    PutFile(root.Join(path), "in the way");
    EXPECT_EQ(Install(), kDone);
  }
}

TEST_F(LogPlace, IsNowhereWhereTheRootFolderOfTheDiskDoesNotServeEither) {
  std::filesystem::remove_all(root.Join("/root"));
  PutFile(root.Join("/Caldris"), "in the way");
  EXPECT_EQ(Install(), kDone);
}

TEST_F(LogPlace, IsNowhereWhereTheAccountsCannotBeRead) {
  if (HasFault(Fault::kNeedsAnAccount)) GTEST_SKIP() << "GNUstep ends the program";
  for (const bool isFolder : {false, true}) {
    SCOPED_TRACE(isFolder);
    PutOldManifest();
    std::filesystem::remove_all(root.Join("/etc/passwd"));
    if (isFolder) {
      MakeDirs(root.Join("/etc/passwd"));
    } else {
      MakeLink(root.Join("/etc/passwd"), "passwd");
    }
    EXPECT_EQ(Install(), kDone);
  }
}

TEST_F(LogPlace, IsNowhereWhereTheAccountOfTheOneAtTheConsoleCannotBeRead) {
  if (HasFault(Fault::kNeedsAnAccount)) GTEST_SKIP() << "GNUstep ends the program";
  NEED_CONSOLE(root, kMia);
  MakeHome("/Users/mia", kMia);
  std::filesystem::remove(root.Join("/etc/passwd"));
  MakeLink(root.Join("/etc/passwd"), "passwd");
  EXPECT_EQ(Install(), kDone);
}

TEST_F(LogPlace, IsTheHomeOfNobodyWithoutAnAccount) {
  if (HasFault(Fault::kNeedsAnAccount)) GTEST_SKIP() << "GNUstep ends the program";
  MakeDirs(root.Join("/var/empty"));
  PutFile(root.Join("/etc/passwd"), "mia:x:1000:1000:Mia:/Users/mia:/bin/sh\n");
  EXPECT_EQ(Install(), NewLog("var/empty"));
}

TEST_F(LogPlace, IsBelowTheFolderPrivateWhereTheHomeIs) {
  if (!kIsPosixHalf) GTEST_SKIP() << "macOS has the same folder under both names";
  MakeDirs(root.Join("/home/kim"));
  MakeDirs(root.Join("/private/home/kim"));
  PutFile(root.Join("/etc/passwd"), "root:x:0:0:root:/private/home/kim/:/bin/sh\n");
  EXPECT_EQ(Install(), NewLog("private/home/kim"));
}

TEST_F(LogPlace, IsOpenToEverybodyWhateverTheUmaskOfTheOneAtTheConsole) {
  NEED_CONSOLE(root, kMia);
  for (const mode_t umask : {mode_t{0402}, mode_t{0777}}) {
    SCOPED_TRACE(umask);
    std::filesystem::remove_all(root.Join("/Users/mia"));
    MakeDirs(root.Join("/Users/mia/Library/Logs"));
    SetOwner(root.Join("/Users/mia/Library/Logs"), kMia, kMia);
    RunOptions options;
    options.user = kMia;
    options.umask = umask;
    EXPECT_EQ(Log({}, options, kMiasLog).size(), 3U);
    ExpectItem("/Users/mia/Library/Logs/Caldris", kMia, 0777);
    ExpectItem("/Users/mia/Library/Logs/Caldris/Ixer", kMia, 0777);
    ExpectItem(kMiasLog, kMia, kEverybodys);
  }
}

TEST_F(LogPlace, MayBeBehindALinkOfRoot) {
  MakeDirs(root.Join("/Elsewhere/logs"));
  MakeDirs(root.Join("/root/Library"));
  MakeLink(root.Join("/root/Library/Logs"), "/Elsewhere/logs");
  EXPECT_EQ(Install(), DoneAnd({"+ Elsewhere/logs/Caldris", "+ Elsewhere/logs/Caldris/Ixer",
                                "+ Elsewhere/logs/Caldris/Ixer/Ixer.log"}));
}

TEST_F(LogPlace, MayBeBehindALinkOfHisOwn) {
  NEED_CONSOLE(root, kMia);
  MakeHome("/Users/mia", kMia);
  MakeHome("/Elsewhere/mia", kMia);
  MakeLink(root.Join("/Users/mia/Library"), "/Elsewhere/mia");
  SetOwner(root.Join("/Users/mia/Library"), kMia, kMia);
  EXPECT_EQ(Install(), DoneAnd({"+ Elsewhere/mia/Logs", "+ Elsewhere/mia/Logs/Caldris",
                                "+ Elsewhere/mia/Logs/Caldris/Ixer",
                                "+ Elsewhere/mia/Logs/Caldris/Ixer/Ixer.log"}));
}

TEST_F(LogPlace, IsNotBehindALinkToAFolderOfSomebodyElse) {
  NEED_CONSOLE(root, kMia);
  for (const std::string link : {"/Users/mia/Library/Logs", "/Users/mia/Library/Logs/Caldris",
                                 "/Users/mia/Library/Logs/Caldris/Ixer"}) {
    SCOPED_TRACE(link);
    PutOldManifest();
    std::filesystem::remove_all(root.Join("/Elsewhere"));
    MakeDirs(root.Join("/Elsewhere"));
    std::filesystem::remove_all(root.Join("/Users/mia"));
    MakeHome("/Users/mia", kMia);
    MakeDirs(root.Join(std::filesystem::path(link).parent_path()));
    MakeLink(root.Join(link), "/Elsewhere");
    SetOwner(root.Join(link), kMia, kMia);
    EXPECT_EQ(Install(), kDone);
  }
}

TEST_F(LogPlace, IsTheRootFolderOfTheDiskForALinkToALibraryOfSomebodyElse) {
  NEED_CONSOLE(root, kMia);
  MakeHome("/Users/mia", kMia);
  MakeLink(root.Join("/Users/mia/Library"), "/Elsewhere");
  SetOwner(root.Join("/Users/mia/Library"), kMia, kMia);
  EXPECT_EQ(Install(), kNewLogOfTheDisk);
}

// The state of the machine.

TEST_F(LogPlace, OnAReadOnlyDiskWithoutALogsFolderIsTheRootFolderOfTheDisk) {
  NEED_MOUNTS();
  RunOptions options;
  options.mounts = [&] { MakeReadOnly(root.Join("/root")); };
  EXPECT_EQ(Install(options), kNewLogOfTheDisk);
}

TEST_F(LogPlace, OnAReadOnlyDiskWithALogsFolderIsNowhere) {
  NEED_MOUNTS();
  MakeDirs(root.Join(kRootsLogs));
  RunOptions options;
  options.mounts = [&] { MakeReadOnly(root.Join("/root")); };
  EXPECT_EQ(Install(options), kDone);
}

TEST_F(LogPlace, OnAReadOnlyDiskLeavesTheLogAsItIs) {
  NEED_MOUNTS();
  PutFile(root.Join(kRootsLog), "old\n");
  RunOptions options;
  options.mounts = [&] { MakeReadOnly(root.Join("/root")); };
  EXPECT_EQ(Install(options), kDone);
}

TEST_F(LogPlace, OnAFullDiskGetsAnEmptyLog) {
  NEED_MOUNTS();
  RunOptions options;
  options.mounts = [&] {
    MountMemory(root.Join("/root"), "size=64k");
    FillUpSpace(root.Join("/root"));
  };
  options.afterEnd = [] { EXPECT_EQ(GetFile(kRootsLog), ""); };
  EXPECT_EQ(Install(options), NewLog("root"));
}

TEST_F(LogPlace, OnADiskWithoutRoomForANameIsTheRootFolderOfTheDisk) {
  NEED_MOUNTS();
  RunOptions options;
  options.mounts = [&] {
    MountMemory(root.Join("/root"), "size=64k,nr_inodes=16");
    FillUpNames(root.Join("/root"));
  };
  EXPECT_EQ(Install(options), kNewLogOfTheDisk);
}

TEST_F(LogPlace, GetsTheSameRecordsWhateverStandardStreamsAreMissing) {
  for (int closed = 1; closed < 8; ++closed) {
    SCOPED_TRACE(closed);
    std::filesystem::remove_all(root.Join("/root/Library"));
    RunOptions options;
    options.beforeStart = [closed] {
      for (int fd = 0; fd < 3; ++fd) {
        if ((closed & (1 << fd)) != 0) (void)close(fd);
      }
    };
    EXPECT_EQ(Log({"--install=1"}, options), kInstall);
  }
}

TEST_F(LogPlace, GetsTheSameRecordsInAnyWorkingFolderAndEnvironment) {
  RunOptions options;
  options.environment = {"HOME=/Users/mia", "LANG=tr_TR.UTF-8", "LC_ALL=de_DE.UTF-8",
                         "TZ=Pacific/Kiritimati"};
  options.beforeStart = [] { EXPECT_EQ(chdir("/tmp"), 0); };
  EXPECT_EQ(Log({"--install=1"}, options), kInstall);
}

// The semaphore set that the log's writers share.

class LeftSemaphores : public LogPlace {
 protected:
  LeftSemaphores() { PutFile(root.Join(kRootsLog), ""); }

  static int FindSet() { return semget(ftok(kRootsLog, 11), 0, 0); }

  // To be called in the root, where the sets are those of the program.
  static void MakeSet(int semaphores, short users) {
    const int set = semget(ftok(kRootsLog, 11), semaphores, IPC_CREAT | IPC_EXCL | 0666);
    ASSERT_NE(set, -1);
    struct sembuf count = {0, users, 0};
    ASSERT_EQ(semop(set, &count, 1), 0);
    if (semaphores < 2) return;
    struct sembuf lock = {1, 1, 0};
    ASSERT_EQ(semop(set, &lock, 1), 0);
  }

  static void ExpectSetAndRemoveIt(int users) {
    const int set = FindSet();
    ASSERT_NE(set, -1);
    EXPECT_EQ(semctl(set, 0, GETVAL), users);
    EXPECT_EQ(semctl(set, 0, IPC_RMID), 0);
  }
};

TEST_F(LeftSemaphores, OfProcessesThatDiedAreUsedAndStay) {
  NEED_MOUNTS();
  RunOptions options;
  options.beforeStart = [] { MakeSet(2, 3); };
  options.afterEnd = [] {
    const int set = FindSet();
    EXPECT_EQ(semctl(set, 1, GETVAL), 1);
    ExpectSetAndRemoveIt(3);
  };
  EXPECT_EQ(Log({"--install=1"}, options), kInstall);
}

TEST_F(LeftSemaphores, WithoutUsersAreUsedAndRemoved) {
  NEED_MOUNTS();
  RunOptions options;
  options.beforeStart = [] {
    MakeSet(2, 1);
    struct sembuf leave = {0, -1, 0};
    EXPECT_EQ(semop(FindSet(), &leave, 1), 0);
  };
  options.afterEnd = [] { EXPECT_EQ(FindSet(), -1); };
  EXPECT_EQ(Log({"--install=1"}, options), kInstall);
}

TEST_F(LeftSemaphores, WithoutALockAmongThemLoseTheRecords) {
  NEED_MOUNTS();
  RunOptions options;
  options.beforeStart = [] { MakeSet(1, 1); };
  options.afterEnd = [] { ExpectSetAndRemoveIt(1); };
  EXPECT_EQ(Install(options), kDone);
  EXPECT_EQ(GetFile(root.Join(kRootsLog)), "");
}

TEST_F(LeftSemaphores, ThatNobodyMayUseLoseTheRecords) {
  NEED_REAL_ROOT();
  NEED_MOUNTS();
  SetMode(root.Join("/root"), 0755);
  SetMode(root.Join(kRootsLog), 0666);
  PutFile(root.Join("/etc/passwd"), "greta:x:1001:1001:Greta:/root:/bin/sh\n");
  RunOptions options;
  options.user = kGreta;
  options.beforeStart = [] { EXPECT_NE(semget(ftok(kRootsLog, 11), 2, IPC_CREAT | 0), -1); };
  options.afterEnd = [] { ExpectSetAndRemoveIt(0); };
  EXPECT_EQ(Install(options), Changes());
  EXPECT_EQ(GetFile(root.Join(kRootsLog)), "");
}

// Somebody with an account takes the lock and keeps it. This takes as long as the program waits.
TEST_F(LeftSemaphores, ThatAreKeptCostAMinuteAndTheRecordsAndNoInstall) {
  NEED_MOUNTS();
  RunOptions options;
  options.longestSeconds = 90;
  options.beforeStart = [] {
    MakeSet(2, 1);
    struct sembuf take = {1, -1, 0};
    ASSERT_EQ(semop(FindSet(), &take, 1), 0);
  };
  options.afterEnd = [] {
    EXPECT_EQ(semctl(FindSet(), 1, GETVAL), 0);
    ExpectSetAndRemoveIt(1);
  };
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Install(options), kDone);
  const auto taken = std::chrono::steady_clock::now() - start;
  EXPECT_GE(taken, std::chrono::seconds(60));
  EXPECT_LT(taken, std::chrono::seconds(70));
  EXPECT_EQ(GetFile(root.Join(kRootsLog)), "");
}

}  // namespace

}  // namespace test
