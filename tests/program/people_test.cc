#include <filesystem>
#include <gtest/gtest.h>
#include <sys/types.h>

#include "tests/program/throw_away_root.h"
#include "tests/support/files.h"
#include "tests/support/known_faults.h"

// Who runs the program and who is at the console. The person at the console has the log, and the
// home folder is not deleted, not even where it is the left-over CEF folder. Here it is about the
// latter, so that folder is mia's home.

namespace test {

namespace {

constexpr const char* kCef = "/Applications/Utilities/Velmora Caldris/CEF";
constexpr uid_t kMia = 1000;
constexpr uid_t kGreta = 1001;

class People : public ProgramTest {
 protected:
  People() {
    PutFile(root.Join("/etc/passwd"),
            "root:x:0:0:root:/root:/bin/sh\n"
            "mia:x:1000:1000:Mia:/Applications/Utilities/Velmora Caldris/CEF:/bin/sh\n"
            "greta:x:1001:1001:Greta:/Users/greta:/bin/sh\n");
    root.AddInstalledBundle();
    root.AddEarlierInstallation();
    PutFile(root.Join("/Library/Application Support/Velmora/Pellan/specifiers/caldris.xml"),
            kManifest);
    PutFile(root.Join("/Applications/Velmora Caldris/.folder-icon.png"), IconImage());
    PutFile(root.Join("/Applications/Velmora Caldris/.directory"),
            "[Desktop Entry]\nIcon=./.folder-icon.png\n");
    MakeDirs(root.Join(kCef));
  }

  // What the login manager leaves for its library to read, with one session at the console.
  void AddSession(uid_t user, const std::string& sessionClass) const {
    const std::string number = std::to_string(user);
    MakeDirs(root.Join("/run/systemd/system"));
    PutFile(root.Join("/run/systemd/seats/seat0"),
            "IS_SEAT0=1\nCAN_TTY=1\nCAN_GRAPHICAL=1\n"
            "ACTIVE=c1\nACTIVE_UID=" +
                number + "\nSESSIONS=c1\nUIDS=" + number + "\n");
    PutFile(root.Join("/run/systemd/sessions/c1"), "UID=" + number +
                                                       "\nACTIVE=1\nSTATE=active\n"
                                                       "REMOTE=0\nTYPE=x11\nCLASS=" +
                                                       sessionClass + "\nSEAT=seat0\n");
    PutFile(root.Join("/run/systemd/users/" + number),
            "STATE=active\nDISPLAY=c1\n"
            "SESSIONS=c1\nSEATS=seat0\n");
  }
};

const Changes kCefGone = {"- Applications/Utilities/Velmora Caldris/CEF"};

TEST_F(People, NobodyAtTheConsole) { EXPECT_EQ(root.Run({"--install=1"}), kCefGone); }

TEST_F(People, RootIsSparedLikeAnybodyElse) {
  PutFile(root.Join("/etc/passwd"),
          "root:x:0:0:root:/Applications/Utilities/Velmora Caldris/CEF:/bin/sh\n");
  EXPECT_EQ(root.Run({"--install=1"}), Changes());
}

TEST_F(People, NoAccountsAtAll) {
  if (HasFault(Fault::kNeedsAnAccount)) GTEST_SKIP() << "GNUstep ends the program";
  PutFile(root.Join("/etc/passwd"), "");
  EXPECT_EQ(root.Run({"--install=1"}), kCefGone);
}

TEST_F(People, ConsoleUserByTheLoginManager) {
  NEED_REAL_ROOT();
  if (!root.AddLibrary("libsystemd.so.0")) GTEST_SKIP() << "no libsystemd.so.0 here";
  AddSession(kMia, "user");
  EXPECT_EQ(root.Run({"--install=1"}), Changes());
  AddSession(kGreta, "user");
  std::filesystem::remove_all(root.Join(kCef) + "/Library");  // with the log
  EXPECT_EQ(root.Run({"--install=1"}), kCefGone);
}

TEST_F(People, GreeterByTheLoginManager) {
  NEED_REAL_ROOT();
  if (!root.AddLibrary("libsystemd.so.0")) GTEST_SKIP() << "no libsystemd.so.0 here";
  AddSession(kMia, "greeter");
  EXPECT_EQ(root.Run({"--install=1"}), kCefGone);
}

TEST_F(People, ConsoleUserWithoutTheLoginManagersLibrary) {
  NEED_REAL_ROOT();
  if (!kIsPosixHalf) GTEST_SKIP() << "the library belongs to the stand-in, and to GNUstep's needs";
  AddSession(kMia, "user");
  EXPECT_EQ(root.Run({"--install=1"}), kCefGone);
}

TEST_F(People, ConsoleUserByTheConsoleDevice) {
  NEED_CONSOLE(root, kMia);
  EXPECT_EQ(root.Run({"--install=1"}), Changes());
}

TEST_F(People, ConsoleDeviceOfRoot) {
  NEED_CONSOLE(root, 0);
  EXPECT_EQ(root.Run({"--install=1"}), kCefGone);
}

TEST_F(People, ConsoleDeviceOfSomebodyWithoutAnAccount) {
  NEED_CONSOLE(root, 4711);
  EXPECT_EQ(root.Run({"--install=1"}), kCefGone);
}

TEST_F(People, ConsoleUserDoesNotOwnWhatRootMakes) {
  const ThrowAwayRoot fresh;
  NEED_CONSOLE(fresh, kGreta);
  // Nothing but the log is made in the person's home.
  MakeDirs(fresh.Join("/Users/greta"));
  SetOwner(fresh.Join("/Users/greta"), kGreta, kGreta);
  EXPECT_EQ(fresh.Run({"--install=1"}),
            Changes({
                "+ Applications/Velmora Caldris",
                "+ Applications/Velmora Caldris/.directory",
                "+ Applications/Velmora Caldris/.folder-icon.png",
                "+ Applications/Velmora Caldris/Velmora Caldris",
                "+ Library/Application Support/Velmora",
                "+ Library/Application Support/Velmora/Pellan",
                "+ Library/Application Support/Velmora/Pellan/specifiers",
                "+ Library/Application Support/Velmora/Pellan/specifiers/caldris.xml",
            }));
  for (const char* path :
       {"/Applications/Velmora Caldris", "/Applications/Velmora Caldris/.directory",
        "/Applications/Velmora Caldris/.folder-icon.png",
        "/Applications/Velmora Caldris/Velmora Caldris", "/Library/Application Support/Velmora",
        "/Library/Application Support/Velmora/Pellan",
        "/Library/Application Support/Velmora/Pellan/specifiers",
        "/Library/Application Support/Velmora/Pellan/specifiers/caldris.xml"}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(GetOwner(fresh.Join(path)), uid_t{0});
    EXPECT_EQ(GetGroup(fresh.Join(path)), gid_t{0});
  }
}

TEST_F(People, OrdinaryUserWhoMayWriteNothing) {
  NEED_REAL_ROOT();
  RunOptions options;
  options.user = kGreta;
  EXPECT_EQ(root.Run({"--install=1"}, options), Changes());
  EXPECT_EQ(root.Run({}, options), Changes());
}

TEST_F(People, OrdinaryUserOnAMachineWithoutTheStandardFolders) {
  NEED_REAL_ROOT();
  std::filesystem::remove_all(root.Join("/Applications"));
  std::filesystem::remove_all(root.Join("/Library"));
  RunOptions options;
  options.user = kGreta;
  EXPECT_EQ(root.Run({"--install=1"}, options), Changes());
  EXPECT_EQ(root.Run({}, options), Changes());
}

TEST_F(People, OrdinaryUserWhoMayWriteThere) {
  NEED_REAL_ROOT();
  const ThrowAwayRoot fresh;
  for (const char* path : {"/Applications", "/Library/Application Support"}) {
    SetOwner(fresh.Join(path), kGreta, kGreta);
  }
  RunOptions options;
  options.user = kGreta;
  EXPECT_EQ(fresh.Run({"--install=1"}, options),
            Changes({
                "+ Applications/Velmora Caldris",
                "+ Applications/Velmora Caldris/.directory",
                "+ Applications/Velmora Caldris/.folder-icon.png",
                "+ Applications/Velmora Caldris/Velmora Caldris",
                "+ Library/Application Support/Velmora",
                "+ Library/Application Support/Velmora/Pellan",
                "+ Library/Application Support/Velmora/Pellan/specifiers",
                "+ Library/Application Support/Velmora/Pellan/specifiers/caldris.xml",
            }));
  EXPECT_EQ(GetOwner(fresh.Join("/Applications/Velmora Caldris/Velmora Caldris")), kGreta);
}

TEST_F(People, OrdinaryUserWhileSomebodyElseIsAtTheConsole) {
  NEED_CONSOLE(root, kMia);
  SetOwner(root.Join("/Applications/Utilities/Velmora Caldris"), kGreta, kGreta);
  RunOptions options;
  options.user = kGreta;
  // Greta cannot become mia, and her own home is elsewhere.
  EXPECT_EQ(root.Run({"--install=1"}, options), kCefGone);
}

TEST_F(People, OrdinaryUserAtTheConsole) {
  NEED_CONSOLE(root, kMia);
  SetOwner(root.Join("/Applications/Utilities/Velmora Caldris"), kMia, kMia);
  RunOptions options;
  options.user = kMia;
  EXPECT_EQ(root.Run({"--install=1"}, options), Changes());
}

}  // namespace

}  // namespace test
