#include "platform/console_user.h"

#include <cstddef>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <link.h>
#include <set>
#include <string>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/types.h>
#include <unistd.h>

#include "platform/posix/host_parts.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace platform {
namespace {

std::set<std::string> LoadedObjects() {
  std::set<std::string> names;
  dl_iterate_phdr(
      [](dl_phdr_info* info, std::size_t, void* found) {
        static_cast<std::set<std::string>*>(found)->insert(info->dlpi_name);
        return 0;
      },
      &names);
  return names;
}

// How many objects were ever loaded, those included that are gone again.
unsigned long long CountLoads() {
  unsigned long long count = 0;
  dl_iterate_phdr(
      [](dl_phdr_info* info, std::size_t, void* found) {
        *static_cast<unsigned long long*>(found) = info->dlpi_adds;
        return 1;
      },
      &count);
  return count;
}

// "name uid gid", or "nobody".
std::string Ask() {
  ConsoleUser user{"before", 7, 8};
  const bool found = PosixConsoleUserSource().GetConsoleUser(&user);
  std::string text = user.name + " " + std::to_string(user.uid) + " " + std::to_string(user.gid);
  if (found) return text;
  EXPECT_EQ(text, "before 7 8");
  return "nobody";
}

// A root folder with accounts, without a login manager and without a console device.
class ConsoleUserTest : public testing::Test {
 protected:
  void SetUp() override {
    if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
    test::PutFile(root_.Join("etc/nsswitch.conf"), "passwd: files\n");
    test::PutFile(root_.Join("etc/passwd"),
                  "root:x:0:0:root:/root:/bin/sh\n"
                  "sddm:x:115:118::/var/lib/sddm:/bin/false\n"
                  "mia:x:1000:1005:Mia,,,:/home/mia:/bin/sh\n"
                  "Jörg:x:1001:1006::/home/joerg:/bin/sh\n");
  }

  // The client library of the login manager and what it needs.
  void PutLibrary() const {
    test::RunInChild([this] {
      const std::set<std::string> before = LoadedObjects();
      ASSERT_NE(dlopen("libsystemd.so.0", RTLD_NOW | RTLD_LOCAL), nullptr) << dlerror();
      for (const std::string& path : LoadedObjects()) {
        if (before.contains(path)) continue;
        test::PutFile(root_.Join(path.substr(1)), test::GetFile(path).value_or(""));
      }
      if (const auto cache = test::GetFile("/etc/ld.so.cache")) {
        test::PutFile(root_.Join("etc/ld.so.cache"), *cache);
      }
    });
  }

  // What the login manager keeps there while somebody is logged in.
  void PutSeat(const std::string& uid) const {
    test::PutFile(root_.Join("run/systemd/seats/seat0"),
                  "# This is private data. Do not parse.\n"
                  "IS_SEAT0=1\nCAN_MULTI_SESSION=1\nCAN_TTY=1\nCAN_GRAPHICAL=1\n"
                  "ACTIVE=c1\nACTIVE_UID=" +
                      uid + "\nSESSIONS=c1\nUIDS=" + uid + "\n");
  }

  void PutSession(const std::string& uid, const std::string& sessionClass) const {
    test::PutFile(root_.Join("run/systemd/sessions/c1"),
                  "# This is private data. Do not parse.\nUID=" + uid +
                      "\nUSER=somebody\nACTIVE=1\nIS_DISPLAY=1\nSTATE=active\nREMOTE=0\n"
                      "LEADER_FD_SAVED=1\nTYPE=x11\nORIGINAL_TYPE=x11\nCLASS=" +
                      sessionClass + "\nSCOPE=session-c1.scope\nSEAT=seat0\nVTNR=7\n");
  }

  void PutLogin(const std::string& uid, const std::string& sessionClass) const {
    PutLibrary();
    PutSeat(uid);
    PutSession(uid, sessionClass);
  }

  void PutDevice(uid_t owner) const {
    test::MakeDirs(root_.Join("dev"));
    const std::string device = root_.Join("dev/console");
    ASSERT_EQ(mknod(device.c_str(), S_IFCHR | 0600, makedev(1, 3)), 0);
    test::SetOwner(device, owner, 5);
  }

  void ExpectUser(const std::string& expected) const {
    test::RunInRoot(root_.Path(), [&expected] { EXPECT_EQ(Ask(), expected); });
  }

  test::ScopedTempDir root_;
};

// Devices and owners need the machine's root.
class ConsoleDeviceTest : public ConsoleUserTest {
 protected:
  void SetUp() override {
    if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
    ConsoleUserTest::SetUp();
  }
};

TEST_F(ConsoleUserTest, IsTheUserOfTheActiveSession) {
  PutLogin("1000", "user");
  ExpectUser("mia 1000 1005");
}

TEST_F(ConsoleUserTest, HasAnyName) {
  PutLogin("1001", "user");
  ExpectUser("Jörg 1001 1006");
}

TEST_F(ConsoleUserTest, IsAPersonAndNoOtherKindOfSession) {
  PutLogin("1000", "user");
  for (const char* sessionClass : {"user", "user-early", "user-incomplete", "user-light"}) {
    SCOPED_TRACE(sessionClass);
    PutSession("1000", sessionClass);
    ExpectUser("mia 1000 1005");
  }
  for (const char* sessionClass :
       {"greeter", "lock-screen", "background", "manager", "manager-early", "none", "us", "User"}) {
    SCOPED_TRACE(sessionClass);
    PutSession("1000", sessionClass);
    ExpectUser("nobody");
  }
}

TEST_F(ConsoleUserTest, IsNobodyWithoutAnAccount) {
  PutLogin("4711", "user");
  ExpectUser("nobody");
}

TEST_F(ConsoleUserTest, IsNobodyWithoutLoginManagerAndDevice) { ExpectUser("nobody"); }

TEST_F(ConsoleUserTest, IsNobodyWhereTheDeviceIsAFile) {
  test::PutFile(root_.Join("dev/console"), "");
  if (test::WhyNoRealRoot().empty()) test::SetOwner(root_.Join("dev/console"), 1000, 1000);
  ExpectUser("nobody");
}

TEST_F(ConsoleUserTest, LoadsTheLibraryWhereALoginManagerRunsAndDropsItAgain) {
  PutLogin("1000", "user");
  test::RunInRoot(root_.Path(), [] {
    const unsigned long long before = CountLoads();
    EXPECT_EQ(Ask(), "mia 1000 1005");
    EXPECT_GT(CountLoads(), before);
  });
}

TEST_F(ConsoleUserTest, LoadsNothingWhereNoLoginManagerRuns) {
  PutLibrary();
  test::RunInRoot(root_.Path(), [] {
    const unsigned long long before = CountLoads();
    EXPECT_EQ(Ask(), "nobody");
    EXPECT_EQ(CountLoads(), before);
  });
}

TEST_F(ConsoleDeviceTest, GreeterIsNobodyWhoeverOwnsTheDevice) {
  PutLogin("115", "greeter");
  PutDevice(1000);
  ExpectUser("nobody");
}

TEST_F(ConsoleDeviceTest, RootIsNobodyWhoeverOwnsTheDevice) {
  PutLogin("0", "user");
  PutDevice(1000);
  ExpectUser("nobody");
}

TEST_F(ConsoleDeviceTest, StrangerIsNobodyWhoeverOwnsTheDevice) {
  PutLogin("4711", "user");
  PutDevice(1000);
  ExpectUser("nobody");
}

TEST_F(ConsoleDeviceTest, ActiveSessionCountsMoreThanTheDevice) {
  PutLogin("1001", "user");
  PutDevice(1000);
  ExpectUser("Jörg 1001 1006");
}

TEST_F(ConsoleDeviceTest, OwnerOfTheDeviceCountsWithoutLoginManager) {
  PutDevice(1000);
  ExpectUser("mia 1000 1005");
}

TEST_F(ConsoleDeviceTest, OwnerOfTheDeviceCountsWithoutAnActiveSession) {
  PutLogin("1001", "user");
  PutDevice(1000);
  for (const char* seat : {"", "IS_SEAT0=1\nCAN_MULTI_SESSION=1\n", "ACTIVE=c1\n",
                           "ACTIVE_UID=1001\n", "ACTIVE=\nACTIVE_UID=\n"}) {
    SCOPED_TRACE(seat);
    test::PutFile(root_.Join("run/systemd/seats/seat0"), seat);
    ExpectUser("mia 1000 1005");
  }
}

TEST_F(ConsoleDeviceTest, OwnerOfTheDeviceCountsWhereTheSessionIsGone) {
  PutLibrary();
  PutSeat("1001");
  PutDevice(1000);
  ExpectUser("mia 1000 1005");
}

TEST_F(ConsoleDeviceTest, OwnerOfTheDeviceCountsWhereTheSessionHasNoClass) {
  PutLibrary();
  PutSeat("1001");
  test::PutFile(root_.Join("run/systemd/sessions/c1"), "UID=1001\nACTIVE=1\n");
  PutDevice(1000);
  ExpectUser("mia 1000 1005");
}

TEST_F(ConsoleDeviceTest, OwnerOfTheDeviceCountsWhereTheSeatCannotBeRead) {
  PutLibrary();
  test::MakeDirs(root_.Join("run/systemd/seats/seat0"));
  PutSession("1001", "user");
  PutDevice(1000);
  ExpectUser("mia 1000 1005");
}

TEST_F(ConsoleDeviceTest, OwnerOfTheDeviceCountsWhereTheSessionCannotBeRead) {
  PutLibrary();
  PutSeat("1001");
  test::MakeDirs(root_.Join("run/systemd/sessions/c1"));
  PutDevice(1000);
  ExpectUser("mia 1000 1005");
  ASSERT_EQ(rmdir(root_.Join("run/systemd/sessions/c1").c_str()), 0);
  test::MakeLink(root_.Join("run/systemd/sessions/c1"), "c1");
  ExpectUser("mia 1000 1005");
}

TEST_F(ConsoleUserTest, IsNobodyWhereTheAccountsCannotBeRead) {
  PutLogin("1000", "user");
  ASSERT_EQ(unlink(root_.Join("etc/passwd").c_str()), 0);
  test::MakeLink(root_.Join("etc/passwd"), "passwd");
  ExpectUser("nobody");
}

TEST_F(ConsoleDeviceTest, OwnerOfTheDeviceCountsWithoutTheLibrary) {
  PutSeat("1001");
  PutSession("1001", "user");
  PutDevice(1000);
  ExpectUser("mia 1000 1005");
}

TEST_F(ConsoleDeviceTest, RootsDeviceIsNobodys) {
  PutDevice(0);
  ExpectUser("nobody");
}

TEST_F(ConsoleDeviceTest, StrangersDeviceIsNobodys) {
  PutDevice(4711);
  ExpectUser("nobody");
}

}  // namespace
}  // namespace platform
