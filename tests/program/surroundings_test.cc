#include <filesystem>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/program/throw_away_root.h"
#include "tests/support/files.h"
#include "tests/support/known_faults.h"

// In what state the process and the machine are when the program is started.

namespace test {

namespace {

class Surroundings : public ProgramTest {
 protected:
  Surroundings() { root.AddCefFolder(); }
};

// A whole installation.
const Changes kInstalled = {
    "- Applications/Utilities/Velmora Caldris/CEF",
    "- Applications/Utilities/Velmora Caldris/CEF/locales",
    "- Applications/Utilities/Velmora Caldris/CEF/locales/en.pak",
    "+ Applications/Velmora Caldris",
    "+ Applications/Velmora Caldris/.directory",
    "+ Applications/Velmora Caldris/.folder-icon.png",
    "+ Applications/Velmora Caldris/Velmora Caldris",
    "+ Library/Application Support/Velmora",
    "+ Library/Application Support/Velmora/Pellan",
    "+ Library/Application Support/Velmora/Pellan/specifiers",
    "+ Library/Application Support/Velmora/Pellan/specifiers/caldris.xml",
};

constexpr const char* kPlace = "/Library/Application Support/Velmora/Pellan/specifiers/caldris.xml";

void SetLimit(int resource, rlim_t value) {
  const rlimit limit = {value, value};
  EXPECT_EQ(setrlimit(static_cast<decltype(RLIMIT_NOFILE)>(resource), &limit), 0);
}

TEST_F(Surroundings, UmaskSetsTheModesAndKeepsOthersFromWriting) {
  const struct {
    mode_t umask;
    mode_t file;
    mode_t folder;
  } rows[] = {
      {0000, 0664, 0775}, {0002, 0664, 0775}, {0022, 0644, 0755},
      {0027, 0640, 0750}, {0070, 0604, 0705}, {0077, 0600, 0700},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << std::oct << row.umask);
    const ThrowAwayRoot fresh;
    std::filesystem::remove_all(fresh.Join("/Applications"));
    std::filesystem::remove_all(fresh.Join("/Library"));
    RunOptions options;
    options.umask = row.umask;
    EXPECT_EQ(fresh.Run({"--install=1"}, options),
              Changes({
                  "+ Applications",
                  "+ Applications/Velmora Caldris",
                  "+ Applications/Velmora Caldris/.directory",
                  "+ Applications/Velmora Caldris/.folder-icon.png",
                  "+ Applications/Velmora Caldris/Velmora Caldris",
                  "+ Library",
                  "+ Library/Application Support",
                  "+ Library/Application Support/Velmora",
                  "+ Library/Application Support/Velmora/Pellan",
                  "+ Library/Application Support/Velmora/Pellan/specifiers",
                  "+ Library/Application Support/Velmora/Pellan/specifiers/caldris.xml",
              }));
    for (const char* folder :
         {"/Applications", "/Applications/Velmora Caldris", "/Library",
          "/Library/Application Support", "/Library/Application Support/Velmora",
          "/Library/Application Support/Velmora/Pellan",
          "/Library/Application Support/Velmora/Pellan/specifiers"}) {
      EXPECT_EQ(GetMode(fresh.Join(folder)), row.folder) << folder;
    }
    for (const char* file : {kPlace, "/Applications/Velmora Caldris/.directory",
                             "/Applications/Velmora Caldris/.folder-icon.png"}) {
      const bool isNarrowed = file == kPlace && HasFault(Fault::kMakesFilesFor0644);
      EXPECT_EQ(GetMode(fresh.Join(file)), isNarrowed ? row.file & 0644 : row.file) << file;
    }
  }
}

TEST_F(Surroundings, MayLackAnyOfTheStandardStreams) {
  for (int closed = 1; closed < 8; ++closed) {
    SCOPED_TRACE(closed);
    const ThrowAwayRoot fresh;
    fresh.AddCefFolder();
    RunOptions options;
    options.beforeStart = [closed] {
      for (int fd = 0; fd < 3; ++fd) {
        if ((closed & (1 << fd)) != 0) (void)close(fd);
      }
    };
    EXPECT_EQ(fresh.Run({"--install=1"}, options), kInstalled);
    EXPECT_EQ(GetFile(fresh.Join(kPlace)), kManifest);
    fresh.AddInstalledBundle();
    EXPECT_EQ(fresh.Run({}, options),
              Changes({
                  "- Applications/Velmora Caldris/Velmora Caldris",
                  "- Library/Application Support/Velmora/Pellan/specifiers/caldris.xml",
              }));
  }
}

TEST_F(Surroundings, MayLackStandardStreamsAndTheNullDevice) {
  std::filesystem::remove_all(root.Join("/dev"));
  RunOptions options;
  options.beforeStart = [] {
    for (int fd = 0; fd < 3; ++fd) (void)close(fd);
  };
  EXPECT_EQ(root.Run({"--install=1"}, options), kInstalled);
  EXPECT_EQ(GetFile(root.Join(kPlace)), kManifest);
}

TEST_F(Surroundings, MayHaveNobodyAtTheOtherEndOfTheStandardStreams) {
  RunOptions options;
  options.beforeStart = [] {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    (void)close(ends[0]);
    (void)dup2(ends[1], STDOUT_FILENO);
    (void)dup2(ends[1], STDERR_FILENO);
    (void)close(ends[1]);
  };
  EXPECT_EQ(root.Run({"--install=1"}, options), kInstalled);
}

TEST_F(Surroundings, MayLackProc) {
  if (kHasAddressSanitizer) GTEST_SKIP() << "the address sanitizer needs /proc";
  std::filesystem::remove(root.Join("/proc"));
  RunOptions options;
  options.mountProc = false;
  EXPECT_EQ(root.Run({"--install=1"}, options), kInstalled);
}

TEST_F(Surroundings, MayLackDev) {
  std::filesystem::remove_all(root.Join("/dev"));
  EXPECT_EQ(root.Run({"--install=1"}), kInstalled);
}

TEST_F(Surroundings, MayLackAccounts) {
  if (HasFault(Fault::kNeedsAnAccount)) GTEST_SKIP() << "GNUstep ends the program";
  std::filesystem::remove_all(root.Join("/etc"));
  EXPECT_EQ(root.Run({"--install=1"}), kInstalled);
}

TEST_F(Surroundings, MayHaveAnyWorkingFolder) {
  RunOptions options;
  options.program = "./ZintCustomHook";
  options.beforeStart = [] { EXPECT_EQ(chdir("/Installer"), 0); };
  EXPECT_EQ(root.Run({"--install=1"}, options), kInstalled);
}

TEST_F(Surroundings, MayHaveAWorkingFolderThatIsGone) {
  MakeDirs(root.Join("/tmp/gone"));
  RunOptions options;
  options.beforeStart = [] {
    EXPECT_EQ(chdir("/tmp/gone"), 0);
    EXPECT_EQ(rmdir("/tmp/gone"), 0);
  };
  Changes expected = kInstalled;
  expected.push_back("- tmp/gone");  // by this test
  EXPECT_EQ(root.Run({"--install=1"}, options), expected);
}

TEST_F(Surroundings, MayAllowFewOpenFiles) {
  RunOptions options;
  options.beforeStart = [] { SetLimit(RLIMIT_NOFILE, 16); };
  EXPECT_EQ(root.Run({"--install=1"}, options), kInstalled);
}

TEST_F(Surroundings, MayAllowNoFileToGrow) {
  RunOptions options;
  options.beforeStart = [] { SetLimit(RLIMIT_FSIZE, 0); };
  EXPECT_EQ(root.Run({"--install=1"}, options),
            Changes({
                "- Applications/Utilities/Velmora Caldris/CEF",
                "- Applications/Utilities/Velmora Caldris/CEF/locales",
                "- Applications/Utilities/Velmora Caldris/CEF/locales/en.pak",
                "+ Applications/Velmora Caldris",
                "+ Applications/Velmora Caldris/Velmora Caldris",
                "+ Library/Application Support/Velmora",
                "+ Library/Application Support/Velmora/Pellan",
                "+ Library/Application Support/Velmora/Pellan/specifiers",
            }));
}

TEST_F(Surroundings, MayAllowNoFileToGrowWhereThereIsAnOldManifest) {
  PutFile(root.Join(kPlace), "old");
  RunOptions options;
  options.beforeStart = [] { SetLimit(RLIMIT_FSIZE, 100); };
  EXPECT_EQ(root.Run({"--install=1"}, options),
            Changes({
                "- Applications/Utilities/Velmora Caldris/CEF",
                "- Applications/Utilities/Velmora Caldris/CEF/locales",
                "- Applications/Utilities/Velmora Caldris/CEF/locales/en.pak",
                "+ Applications/Velmora Caldris",
                "+ Applications/Velmora Caldris/.directory",
                "+ Applications/Velmora Caldris/.folder-icon.png",
                "+ Applications/Velmora Caldris/Velmora Caldris",
            }));
}

TEST_F(Surroundings, MayHaveEverySignalIgnored) {
  RunOptions options;
  options.beforeStart = [] {
    for (int number = 1; number < 32; ++number) (void)signal(number, SIG_IGN);
  };
  EXPECT_EQ(root.Run({"--install=1"}, options), kInstalled);
}

TEST_F(Surroundings, EnvironmentPlaysNoPart) {
  RunOptions options;
  // A home folder is spared by the clean-up; this one is none.
  options.environment = {"HOME=/Applications/Utilities/Velmora Caldris/CEF",
                         "USER=mia",
                         "LOGNAME=mia",
                         "SUDO_USER=mia",
                         "TMPDIR=/Users",
                         "XDG_DATA_HOME=/Users/data",
                         "XDG_RUNTIME_DIR=/Users/run",
                         "LANG=xx_XX.UTF-8",
                         "LC_ALL=tr_TR.ISO-8859-9",
                         "install=0",
                         "no name",
                         ""};
  EXPECT_EQ(root.Run({"--install=1"}, options), kInstalled);
}

TEST_F(Surroundings, ReadOnlyRootIsLeftAsItIs) {
  NEED_MOUNTS();
  root.AddInstalledBundle();
  root.AddEarlierInstallation();
  RunOptions options;
  options.mounts = [&] { MakeReadOnly(root.Join("/")); };
  EXPECT_EQ(root.Run({"--install=1"}, options), Changes());
  EXPECT_EQ(root.Run({}, options), Changes());
}

TEST_F(Surroundings, ReadOnlyLibraryKeepsOnlyTheManifestBack) {
  NEED_MOUNTS();
  RunOptions options;
  options.mounts = [&] { MakeReadOnly(root.Join("/Library")); };
  EXPECT_EQ(root.Run({"--install=1"}, options),
            Changes({
                "- Applications/Utilities/Velmora Caldris/CEF",
                "- Applications/Utilities/Velmora Caldris/CEF/locales",
                "- Applications/Utilities/Velmora Caldris/CEF/locales/en.pak",
                "+ Applications/Velmora Caldris",
                "+ Applications/Velmora Caldris/.directory",
                "+ Applications/Velmora Caldris/.folder-icon.png",
                "+ Applications/Velmora Caldris/Velmora Caldris",
            }));
}

TEST_F(Surroundings, ReadOnlyApplicationsKeepShortcutAndCleanUpBack) {
  NEED_MOUNTS();
  RunOptions options;
  options.mounts = [&] { MakeReadOnly(root.Join("/Applications")); };
  EXPECT_EQ(root.Run({"--install=1"}, options),
            Changes({
                "+ Library/Application Support/Velmora",
                "+ Library/Application Support/Velmora/Pellan",
                "+ Library/Application Support/Velmora/Pellan/specifiers",
                "+ Library/Application Support/Velmora/Pellan/specifiers/caldris.xml",
            }));
}

TEST_F(Surroundings, FullDiskKeepsTheOldManifestAndNothingUnfinished) {
  NEED_MOUNTS();
  RunOptions options;
  options.mounts = [&] {
    MountMemory(root.Join("/Library"), "size=64k");
    PutFile(root.Join(kPlace), "old");
    FillUpSpace(root.Join("/Library"));
  };
  EXPECT_EQ(root.Run({"--install=1"}, options),
            Changes({
                "- Applications/Utilities/Velmora Caldris/CEF",
                "- Applications/Utilities/Velmora Caldris/CEF/locales",
                "- Applications/Utilities/Velmora Caldris/CEF/locales/en.pak",
                "+ Applications/Velmora Caldris",
                "+ Applications/Velmora Caldris/.directory",
                "+ Applications/Velmora Caldris/.folder-icon.png",
                "+ Applications/Velmora Caldris/Velmora Caldris",
            }));
  // Deleting needs no space.
  EXPECT_EQ(root.Run({}, options),
            Changes({"- Library/Application Support/Velmora/Pellan/specifiers/caldris.xml"}));
}

TEST_F(Surroundings, FullDiskKeepsTheIconBackAndNothingElseOfTheShortcut) {
  NEED_MOUNTS();
  RunOptions options;
  options.mounts = [&] {
    MountMemory(root.Join("/Applications"), "size=64k");
    MakeDirs(root.Join("/Applications/Velmora Caldris"));
    FillUpSpace(root.Join("/Applications"));
  };
  EXPECT_EQ(root.Run({"--install=1"}, options),
            Changes({
                "+ Applications/Velmora Caldris/Velmora Caldris",
                "+ Library/Application Support/Velmora",
                "+ Library/Application Support/Velmora/Pellan",
                "+ Library/Application Support/Velmora/Pellan/specifiers",
                "+ Library/Application Support/Velmora/Pellan/specifiers/caldris.xml",
            }));
}

TEST_F(Surroundings, DiskWithoutRoomForANameIsLeftAsItIs) {
  NEED_MOUNTS();
  RunOptions options;
  options.mounts = [&] {
    for (const char* folder : {"/Applications", "/Library"}) {
      MountMemory(root.Join(folder), "size=64k,nr_inodes=16");
      MakeDirs(root.Join("/Library/Application Support"));
      FillUpNames(root.Join(folder));
    }
  };
  EXPECT_EQ(root.Run({"--install=1"}, options), Changes());
}

}  // namespace

}  // namespace test
