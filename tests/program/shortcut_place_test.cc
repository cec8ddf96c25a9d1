#include <filesystem>
#include <gtest/gtest.h>

#include "tests/program/throw_away_root.h"
#include "tests/support/files.h"

// What stands at the place of the link or of its folder. The manifest is in place already, and
// there is no icon file, so that nothing else changes.

namespace test {

namespace {

constexpr const char* kFolder = "/Applications/Velmora Caldris";
constexpr const char* kShortcut = "/Applications/Velmora Caldris/Velmora Caldris";
constexpr const char* kBundle = "/Applications/Utilities/Velmora Caldris/Ixer/Caldris.app";

class ShortcutPlace : public ProgramTest {
 protected:
  ShortcutPlace() {
    root.AddInstalledBundle();
    PutFile(root.Join("/Library/Application Support/Velmora/Pellan/specifiers/caldris.xml"),
            kManifest);
    PutFile(root.Join("/Elsewhere/file"), "not ours");
    std::filesystem::remove_all(root.Join("/Installer/Caldris.app"));
  }

  // A removal takes the manifest too; only what else it does is of interest here.
  [[nodiscard]] Changes Remove() const {
    std::filesystem::remove_all(root.Join("/Library/Application Support/Velmora"));
    return root.Run({});
  }
};

TEST_F(ShortcutPlace, WithAnEmptyFolderGetsTheLink) {
  MakeDirs(root.Join(kShortcut));
  EXPECT_EQ(root.Run({"--install=1"}), Changes({"~ Applications/Velmora Caldris/Velmora Caldris"}));
  EXPECT_EQ(GetLink(root.Join(kShortcut)), kBundle);
}

TEST_F(ShortcutPlace, InAnEmptyFolderGetsTheLinkAndTheFolderStaysAsItIs) {
  MakeDirs(root.Join(kFolder));
  SetMode(root.Join(kFolder), 0711);
  EXPECT_EQ(root.Run({"--install=1"}), Changes({"+ Applications/Velmora Caldris/Velmora Caldris"}));
  EXPECT_EQ(GetLink(root.Join(kShortcut)), kBundle);
}

TEST_F(ShortcutPlace, WithAFullFolderIsLeftAlone) {
  PutFile(root.Join(kShortcut) + "/file", "not ours");
  EXPECT_EQ(root.Run({"--install=1"}), Changes());
}

TEST_F(ShortcutPlace, WithAFileGetsTheLink) {
  PutFile(root.Join(kShortcut), "file");
  EXPECT_EQ(root.Run({"--install=1"}), Changes({"~ Applications/Velmora Caldris/Velmora Caldris"}));
  EXPECT_EQ(GetLink(root.Join(kShortcut)), kBundle);
}

TEST_F(ShortcutPlace, WithAFifoGetsTheLink) {
  MakeDirs(root.Join(kFolder));
  MakeFifo(root.Join(kShortcut));
  EXPECT_EQ(root.Run({"--install=1"}), Changes({"~ Applications/Velmora Caldris/Velmora Caldris"}));
  EXPECT_EQ(GetLink(root.Join(kShortcut)), kBundle);
}

TEST_F(ShortcutPlace, WithALinkGetsTheRightOneAndWhatItLedToStays) {
  MakeDirs(root.Join(kFolder));
  for (const char* destination : {"/Elsewhere", "/Elsewhere/file", "../Utilities"}) {
    SCOPED_TRACE(destination);
    std::filesystem::remove(root.Join(kShortcut));
    MakeLink(root.Join(kShortcut), destination);
    EXPECT_EQ(root.Run({"--install=1"}),
              Changes({"~ Applications/Velmora Caldris/Velmora Caldris"}));
    EXPECT_EQ(GetLink(root.Join(kShortcut)), kBundle);
  }
}

TEST_F(ShortcutPlace, WithALinkThatDanglesIsLeftAlone) {
  MakeDirs(root.Join(kFolder));
  for (const char* destination : {"/nowhere", "Velmora Caldris"}) {
    SCOPED_TRACE(destination);
    std::filesystem::remove(root.Join(kShortcut));
    MakeLink(root.Join(kShortcut), destination);
    EXPECT_EQ(root.Run({"--install=1"}), Changes());
  }
}

TEST_F(ShortcutPlace, WithAMountPointIsLeftAlone) {
  NEED_MOUNTS();
  MakeDirs(root.Join(kShortcut));
  RunOptions options;
  options.mounts = [&] { MountMemory(root.Join(kShortcut), "size=64k"); };
  EXPECT_EQ(root.Run({"--install=1"}, options), Changes());
  EXPECT_EQ(root.Run({}, options),
            Changes({"- Library/Application Support/Velmora/Pellan/specifiers/caldris.xml"}));
}

TEST_F(ShortcutPlace, InAFullFolderIsUsedAndTheOthersStay) {
  PutFile(root.Join(kFolder) + "/file", "not ours");
  SetMode(root.Join(kFolder), 0700);
  EXPECT_EQ(root.Run({"--install=1"}), Changes({"+ Applications/Velmora Caldris/Velmora Caldris"}));
}

TEST_F(ShortcutPlace, BelowAFileIsGivenUp) {
  PutFile(root.Join(kFolder), "not ours");
  EXPECT_EQ(root.Run({"--install=1"}), Changes());
  EXPECT_EQ(Remove(), Changes());
}

TEST_F(ShortcutPlace, BelowAFifoIsGivenUp) {
  MakeFifo(root.Join(kFolder));
  EXPECT_EQ(root.Run({"--install=1"}), Changes());
  EXPECT_EQ(Remove(), Changes());
}

TEST_F(ShortcutPlace, BelowALinkThatDanglesIsGivenUp) {
  MakeLink(root.Join(kFolder), "/nowhere");
  EXPECT_EQ(root.Run({"--install=1"}), Changes());
  EXPECT_EQ(Remove(), Changes());
}

TEST_F(ShortcutPlace, BelowALinkOfRootsIsUsed) {
  MakeLink(root.Join(kFolder), "/Elsewhere");
  EXPECT_EQ(root.Run({"--install=1"}), Changes({"+ Elsewhere/Velmora Caldris"}));
  EXPECT_EQ(Remove(), Changes({"- Elsewhere/Velmora Caldris"}));
}

TEST_F(ShortcutPlace, BelowALinkOfAnotherUserToAFolderOfTheirsIsUsed) {
  NEED_REAL_ROOT();
  MakeLink(root.Join(kFolder), "/Elsewhere");
  SetOwner(root.Join(kFolder), 1000, 1000);
  SetOwner(root.Join("/Elsewhere"), 1000, 1000);
  EXPECT_EQ(root.Run({"--install=1"}), Changes({"+ Elsewhere/Velmora Caldris"}));
}

TEST_F(ShortcutPlace, BelowALinkOfAnotherUserToAFolderOfRootsIsGivenUp) {
  NEED_REAL_ROOT();
  PutFile(root.Join("/Installer/Caldris.app/Contents/Resources/CaldrisApplicationFolder.icns"),
          "no icon");
  // What a careless clean-up of the icon would take along.
  PutFile(root.Join("/Elsewhere/.folder-icon.png"), "not ours");
  PutFile(root.Join("/Elsewhere/.directory"), "[Desktop Entry]\nIcon=./.folder-icon.png\n");
  MakeLink(root.Join(kFolder), "/Elsewhere");
  SetOwner(root.Join(kFolder), 1000, 1000);
  EXPECT_EQ(root.Run({"--install=1"}),
            kIsPosixHalf ? Changes() : Changes({"+ Elsewhere/Velmora Caldris"}));
  EXPECT_EQ(Remove(), kIsPosixHalf ? Changes() : Changes({"- Elsewhere/Velmora Caldris"}));
}

TEST_F(ShortcutPlace, WithAnEmptyFolderIsClearedByARemoval) {
  MakeDirs(root.Join(kShortcut));
  EXPECT_EQ(Remove(), Changes({"- Applications/Velmora Caldris/Velmora Caldris"}));
}

TEST_F(ShortcutPlace, WithAFullFolderIsLeftAloneByARemoval) {
  PutFile(root.Join(kShortcut) + "/file", "not ours");
  EXPECT_EQ(Remove(), Changes());
}

TEST_F(ShortcutPlace, WithAFileIsClearedByARemoval) {
  PutFile(root.Join(kShortcut), "file");
  EXPECT_EQ(Remove(), Changes({"- Applications/Velmora Caldris/Velmora Caldris"}));
}

TEST_F(ShortcutPlace, WithALinkIsClearedByARemovalAndWhatItLedToStays) {
  MakeDirs(root.Join(kFolder));
  MakeLink(root.Join(kShortcut), "/Elsewhere");
  EXPECT_EQ(Remove(), Changes({"- Applications/Velmora Caldris/Velmora Caldris"}));
}

// The icon's two files, with an icon file at hand.

TEST_F(ShortcutPlace, KeepsItsIconWithinTheFolderWhateverLiesUnderTheIconsNames) {
  const ThrowAwayRoot furnished;
  furnished.AddInstalledBundle();
  furnished.AddEarlierInstallation();
  PutFile(furnished.Join("/Library/Application Support/Velmora/Pellan/specifiers/caldris.xml"),
          kManifest);
  PutFile(furnished.Join("/Elsewhere/file"), "not ours");
  MakeLink(furnished.Join("/Applications/Velmora Caldris/.folder-icon.png"), "/Elsewhere/file");
  EXPECT_EQ(furnished.Run({"--install=1"}), Changes({
                                                "+ Applications/Velmora Caldris/.directory",
                                                "~ Applications/Velmora Caldris/.folder-icon.png",
                                            }));
  EXPECT_EQ(GetFile(furnished.Join("/Applications/Velmora Caldris/.folder-icon.png")), IconImage());
}

}  // namespace

}  // namespace test
