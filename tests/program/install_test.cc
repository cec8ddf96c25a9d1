#include <filesystem>
#include <gtest/gtest.h>

#include "tests/program/throw_away_root.h"
#include "tests/support/files.h"
#include "tests/support/known_faults.h"

namespace test {

namespace {

using Install = ProgramTest;

TEST_F(Install, MakesManifestFolderIconAndLink) {
  EXPECT_EQ(root.Run({"--install=1"}),
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
  EXPECT_EQ(
      GetFile(root.Join("/Library/Application Support/Velmora/Pellan/specifiers/caldris.xml")),
      kManifest);
  EXPECT_EQ(
      GetMode(root.Join("/Library/Application Support/Velmora/Pellan/specifiers/caldris.xml")),
      mode_t{0644});
  EXPECT_EQ(GetMode(root.Join("/Library/Application Support/Velmora")), mode_t{0755});
  EXPECT_EQ(GetMode(root.Join("/Library/Application Support/Velmora/Pellan")), mode_t{0755});
  EXPECT_EQ(GetMode(root.Join("/Library/Application Support/Velmora/Pellan/specifiers")),
            mode_t{0755});
  EXPECT_EQ(GetMode(root.Join("/Applications/Velmora Caldris")), mode_t{0755});
  EXPECT_EQ(GetFile(root.Join("/Applications/Velmora Caldris/.folder-icon.png")), IconImage());
  EXPECT_EQ(GetMode(root.Join("/Applications/Velmora Caldris/.folder-icon.png")), mode_t{0644});
  EXPECT_EQ(GetFile(root.Join("/Applications/Velmora Caldris/.directory")),
            "[Desktop Entry]\nIcon=./.folder-icon.png\n");
  EXPECT_EQ(GetMode(root.Join("/Applications/Velmora Caldris/.directory")), mode_t{0644});
  EXPECT_EQ(GetLink(root.Join("/Applications/Velmora Caldris/Velmora Caldris")),
            "/Applications/Utilities/Velmora Caldris/Ixer/Caldris.app");
}

TEST_F(Install, MakesTheStandardFoldersWhereTheyAreMissing) {
  std::filesystem::remove_all(root.Join("/Applications"));
  std::filesystem::remove_all(root.Join("/Library"));
  EXPECT_EQ(root.Run({"--install=1"}),
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
  EXPECT_EQ(GetMode(root.Join("/Applications")), mode_t{0755});
  EXPECT_EQ(GetMode(root.Join("/Library")), mode_t{0755});
  EXPECT_EQ(GetMode(root.Join("/Library/Application Support")), mode_t{0755});
}

TEST_F(Install, DoneTwiceLeavesWhatItLeftTheFirstTime) {
  root.AddInstalledBundle();
  (void)root.Run({"--install=1"});
  EXPECT_EQ(root.Run({"--install=1"}), Changes());
}

TEST_F(Install, DoneTwiceKeepsTheDanglingLinkOfTheFirstTime) {
  (void)root.Run({"--install=1"});
  EXPECT_EQ(root.Run({"--install=1"}), Changes());
}

TEST_F(Install, ReplacesOldManifestAndLink) {
  root.AddEarlierInstallation();
  MakeDirs(root.Join("/Applications/Older.app"));
  std::filesystem::remove(root.Join("/Applications/Velmora Caldris/Velmora Caldris"));
  MakeLink(root.Join("/Applications/Velmora Caldris/Velmora Caldris"), "/Applications/Older.app");
  EXPECT_EQ(root.Run({"--install=1"}),
            Changes({
                "+ Applications/Velmora Caldris/.directory",
                "+ Applications/Velmora Caldris/.folder-icon.png",
                "~ Applications/Velmora Caldris/Velmora Caldris",
                "~ Library/Application Support/Velmora/Pellan/specifiers/caldris.xml",
            }));
  EXPECT_EQ(GetLink(root.Join("/Applications/Velmora Caldris/Velmora Caldris")),
            "/Applications/Utilities/Velmora Caldris/Ixer/Caldris.app");
  EXPECT_EQ(
      GetFile(root.Join("/Library/Application Support/Velmora/Pellan/specifiers/caldris.xml")),
      kManifest);
}

TEST_F(Install, AsUpdateKeepsALinkThatDangles) {
  MakeDirs(root.Join("/Applications/Velmora Caldris"));
  MakeLink(root.Join("/Applications/Velmora Caldris/Velmora Caldris"), "/Applications/Gone.app");
  EXPECT_EQ(root.Run({"--install=1", "--update=true"}),
            Changes({
                "+ Applications/Velmora Caldris/.directory",
                "+ Applications/Velmora Caldris/.folder-icon.png",
                "+ Library/Application Support/Velmora",
                "+ Library/Application Support/Velmora/Pellan",
                "+ Library/Application Support/Velmora/Pellan/specifiers",
                "+ Library/Application Support/Velmora/Pellan/specifiers/caldris.xml",
            }));
  EXPECT_EQ(GetLink(root.Join("/Applications/Velmora Caldris/Velmora Caldris")),
            "/Applications/Gone.app");
}

TEST_F(Install, WithoutAnIconFileMakesAFolderWithoutIcon) {
  std::filesystem::remove(
      root.Join("/Installer/Caldris.app/Contents/Resources/CaldrisApplicationFolder.icns"));
  EXPECT_EQ(root.Run({"--install=1"}),
            Changes({
                "+ Applications/Velmora Caldris",
                "+ Applications/Velmora Caldris/Velmora Caldris",
                "+ Library/Application Support/Velmora",
                "+ Library/Application Support/Velmora/Pellan",
                "+ Library/Application Support/Velmora/Pellan/specifiers",
                "+ Library/Application Support/Velmora/Pellan/specifiers/caldris.xml",
            }));
}

TEST_F(Install, WithoutAnIconFileTakesTheOldIconAway) {
  root.AddInstalledBundle();
  (void)root.Run({"--install=1"});
  PutFile(root.Join("/Installer/Caldris.app/Contents/Resources/CaldrisApplicationFolder.icns"),
          "no icon");
  EXPECT_EQ(root.Run({"--install=1"}), Changes({
                                           "- Applications/Velmora Caldris/.directory",
                                           "- Applications/Velmora Caldris/.folder-icon.png",
                                       }));
}

TEST_F(Install, KeepsTheFolderSettingsOfOthers) {
  PutFile(root.Join("/Applications/Velmora Caldris/.directory"), "[Desktop Entry]\nIcon=mine\n");
  EXPECT_EQ(root.Run({"--install=1"}),
            Changes({
                "+ Applications/Velmora Caldris/Velmora Caldris",
                "+ Library/Application Support/Velmora",
                "+ Library/Application Support/Velmora/Pellan",
                "+ Library/Application Support/Velmora/Pellan/specifiers",
                "+ Library/Application Support/Velmora/Pellan/specifiers/caldris.xml",
            }));
}

TEST_F(Install, OfAProgramInsideABundleFindsTheIconBesideTheBundle) {
  MakeDirs(root.Join("/Installer/Hook.app/Contents/MacOS"));
  std::filesystem::rename(root.Join("/Installer/ZintCustomHook"),
                          root.Join("/Installer/Hook.app/Contents/MacOS/ZintCustomHook"));
  if (HasFault(Fault::kTakesAFolderOfItsOwnForBundle)) {
    MakeLink(root.Join("/Installer/Hook.app/Contents/MacOS/Resources"), "/Installer");
  }
  RunOptions options;
  options.program = "/Installer/Hook.app/Contents/MacOS/ZintCustomHook";
  EXPECT_EQ(root.Run({"--install=1"}, options),
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
}

TEST_F(Install, DoesTheRestWhereManifestAndLinkAreObstructed) {
  // Neither obstacle keeps the next action from its work.
  PutFile(root.Join("/Library/Application Support/Velmora"), "in the way");
  PutFile(root.Join("/Applications/Velmora Caldris/Velmora Caldris/full"), "in the way");
  root.AddCefFolder();
  EXPECT_EQ(root.Run({"--install=1"}),
            Changes({
                "- Applications/Utilities/Velmora Caldris/CEF",
                "- Applications/Utilities/Velmora Caldris/CEF/locales",
                "- Applications/Utilities/Velmora Caldris/CEF/locales/en.pak",
                "+ Applications/Velmora Caldris/.directory",
                "+ Applications/Velmora Caldris/.folder-icon.png",
            }));
}

}  // namespace

}  // namespace test
