#include "tests/support/fake_host.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "platform/console_user.h"
#include "platform/host.h"
#include "platform/host_for_testing.h"
#include "platform/host_info.h"

namespace {

TEST(FakeHost, IsInForceForItsLifeAndTheDefaultBackAfterwards) {
  ASSERT_TRUE(platform::HostIsDefaultForTesting());
  {
    test::FakeHost host;
    EXPECT_FALSE(platform::HostIsDefaultForTesting());
    EXPECT_EQ(platform::CurrentHost().console, &host.console);
    EXPECT_EQ(platform::CurrentHost().directories, &host.directories);
    EXPECT_EQ(platform::CurrentHost().identity, &host.identity);
    EXPECT_EQ(platform::CurrentHost().clock, &host.clock);
    EXPECT_EQ(platform::CurrentHost().info, &host.info);
    EXPECT_EQ(platform::CurrentHost().desktop, &host.desktop);
  }
  EXPECT_TRUE(platform::HostIsDefaultForTesting());
}

TEST(FakeHost, RecordsTheCallsOfAllMembersInOrder) {
  test::FakeHost host;
  platform::ConsoleUser user;
  std::string path;
  EXPECT_FALSE(host.directories.FindDirectory(2, 14, &path));
  EXPECT_FALSE(host.console.GetConsoleUser(&user));
  EXPECT_EQ(host.identity.SetEffectiveUser(501), 0);
  EXPECT_EQ(host.identity.EffectiveUser(), 501u);
  EXPECT_NE(host.directories.HomeDirectory(), "");
  EXPECT_FALSE(host.directories.HomeDirectoryForUser("mia", &path));
  EXPECT_TRUE(host.desktop.SetFolderIcon("/a.icns", "/b"));
  EXPECT_EQ(host.calls, (test::CallRecord{
                            "FindDirectory(2,14)",
                            "GetConsoleUser",
                            "SetEffectiveUser(501)",
                            "HomeDirectory",
                            "HomeDirectoryForUser(mia)",
                            "SetFolderIcon(/a.icns,/b)",
                        }));
}

TEST(FakeConsole, AnswersWithItsUser) {
  test::FakeHost host;
  host.console.user = platform::ConsoleUser{"mia", 501, 20};
  platform::ConsoleUser user;
  ASSERT_TRUE(host.console.GetConsoleUser(&user));
  EXPECT_EQ(user.name, "mia");
  EXPECT_EQ(user.uid, 501u);
  EXPECT_EQ(user.gid, 20u);
}

TEST(FakeConsole, LeavesTheOutputAloneWithoutAUser) {
  test::FakeHost host;
  platform::ConsoleUser user = {"mia", 501, 20};
  EXPECT_FALSE(host.console.GetConsoleUser(&user));
  EXPECT_EQ(user.name, "mia");
}

TEST(FakeDirectories, FindsTheFoldersOfItsTableOnly) {
  test::FakeHost host;
  host.directories.folders[{1, 14}] = "/home/mia/Library/Application Support";
  std::string path = "before";
  EXPECT_FALSE(host.directories.FindDirectory(2, 14, &path));
  EXPECT_FALSE(host.directories.FindDirectory(14, 1, &path));
  EXPECT_EQ(path, "before");
  EXPECT_TRUE(host.directories.FindDirectory(1, 14, &path));
  EXPECT_EQ(path, "/home/mia/Library/Application Support");
}

TEST(FakeDirectories, AnswersWithItsHomes) {
  test::FakeHost host;
  host.directories.home = "/home/own";
  host.directories.homes["mia"] = "/home/mia";
  std::string path = "before";
  EXPECT_FALSE(host.directories.HomeDirectoryForUser("leo", &path));
  EXPECT_EQ(path, "before");
  EXPECT_EQ(host.directories.HomeDirectory(), "/home/own");
  host.directories.tellsHome = false;
  EXPECT_EQ(host.directories.HomeDirectory(), std::nullopt);
  EXPECT_TRUE(host.directories.HomeDirectoryForUser("mia", &path));
  EXPECT_EQ(path, "/home/mia");
}

TEST(FakeIdentity, IsRootUntilItChangesItsUser) {
  test::FakeHost host;
  EXPECT_EQ(host.identity.EffectiveUser(), 0u);
  EXPECT_EQ(host.identity.SetEffectiveUser(501), 0);
  EXPECT_EQ(host.identity.EffectiveUser(), 501u);
  EXPECT_EQ(host.identity.user, 501u);
}

TEST(FakeIdentity, ChangesNothingWhereItFails) {
  test::FakeHost host;
  host.identity.error = EPERM;
  EXPECT_EQ(host.identity.SetEffectiveUser(501), EPERM);
  EXPECT_EQ(host.identity.EffectiveUser(), 0u);
  EXPECT_EQ(host.calls, test::CallRecord{"SetEffectiveUser(501)"});
}

TEST(FakeClock, StandsStillUntilTold) {
  test::FakeHost host;
  EXPECT_EQ(host.clock.Now().seconds, 0);
  EXPECT_EQ(host.clock.Now().microseconds, 0);
  host.clock.now = {.seconds = 1700000000, .microseconds = 7};
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(host.clock.Now().seconds, 1700000000);
    EXPECT_EQ(host.clock.Now().microseconds, 7);
  }
  EXPECT_EQ(host.calls, test::CallRecord());
}

TEST(FakeInfo, AnswersWithWhatItWasTold) {
  test::FakeHost host;
  host.info.hasMacOSVersionNumbers = true;
  host.info.languages = {"en-GB", "de"};
  host.info.localeIdentifier = "en_GB";
  host.info.version = platform::OperatingSystemVersion{10, 5, 8};
  host.info.executable = "/X.app/Contents/MacOS/x";
  host.info.bundle = "/X.app";
  platform::OperatingSystemVersion version;
  std::string executable;
  std::string bundle;
  EXPECT_TRUE(host.info.GetOperatingSystemVersion(&version));
  EXPECT_TRUE(host.info.GetExecutablePath(&executable));
  EXPECT_TRUE(host.info.GetBundlePath(&bundle));
  EXPECT_EQ(version.major, 10);
  EXPECT_EQ(version.minor, 5);
  EXPECT_EQ(version.patch, 8);
  EXPECT_EQ(executable, "/X.app/Contents/MacOS/x");
  EXPECT_EQ(bundle, "/X.app");
  EXPECT_TRUE(host.info.HasMacOSVersionNumbers());
  EXPECT_EQ(host.info.PreferredLanguages(), (std::vector<std::string>{"en-GB", "de"}));
  EXPECT_EQ(host.info.CurrentLocaleIdentifier(), "en_GB");
  EXPECT_EQ(host.calls, test::CallRecord());
}

TEST(FakeInfo, LeavesTheOutputsAloneWhereItWasToldNothing) {
  test::FakeHost host;
  platform::OperatingSystemVersion version = {1, 2, 3};
  std::string path = "before";
  EXPECT_FALSE(host.info.GetOperatingSystemVersion(&version));
  EXPECT_FALSE(host.info.GetExecutablePath(&path));
  EXPECT_FALSE(host.info.GetBundlePath(&path));
  EXPECT_EQ(version.minor, 2);
  EXPECT_EQ(path, "before");
}

TEST(FakeInfo, KnowsNoLanguageAndNoMacOSUntilTold) {
  test::FakeHost host;
  EXPECT_FALSE(host.info.HasMacOSVersionNumbers());
  EXPECT_EQ(host.info.PreferredLanguages(), std::vector<std::string>());
  EXPECT_EQ(host.info.CurrentLocaleIdentifier(), "");
}

TEST(FakeDesktop, AnswersWithItsResult) {
  test::FakeHost host;
  EXPECT_TRUE(host.desktop.SetFolderIcon("a", "b"));
  host.desktop.result = false;
  EXPECT_FALSE(host.desktop.SetFolderIcon("a", "b"));
}

}  // namespace
