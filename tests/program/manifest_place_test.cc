#include <filesystem>
#include <gtest/gtest.h>

#include "tests/program/throw_away_root.h"
#include "tests/support/files.h"
#include "tests/support/known_faults.h"

// What stands at the manifest's place or on the way to it. The shortcut is in place already, so
// that nothing else changes.

namespace test {

namespace {

constexpr const char* kPlace = "/Library/Application Support/Velmora/Pellan/specifiers/caldris.xml";
constexpr const char* kFolder = "/Library/Application Support/Velmora/Pellan/specifiers";

class ManifestPlace : public ProgramTest {
 protected:
  ManifestPlace() {
    root.AddInstalledBundle();
    PutFile(root.Join("/Elsewhere/file"), "not ours");
  }

  void SetUp() override {
    ProgramTest::SetUp();
    if (IsSkipped()) return;
    (void)root.Run({"--install=1"});
    std::filesystem::remove(root.Join(kPlace));
  }

  // A removal takes the link too; only what else it does is of interest here.
  [[nodiscard]] Changes Remove() const {
    std::filesystem::remove(root.Join("/Applications/Velmora Caldris/Velmora Caldris"));
    return root.Run({});
  }
};

TEST_F(ManifestPlace, WithAFileGetsTheNewTextAndKeepsTheMode) {
  PutFile(root.Join(kPlace), "old");
  SetMode(root.Join(kPlace), 0600);
  EXPECT_EQ(root.Run({"--install=1"}),
            Changes({"~ Library/Application Support/Velmora/Pellan/specifiers/caldris.xml"}));
  EXPECT_EQ(GetFile(root.Join(kPlace)), kManifest);
  EXPECT_EQ(GetMode(root.Join(kPlace)), mode_t{0600});
}

TEST_F(ManifestPlace, WithAHardLinkGetsAFileOfItsOwn) {
  MakeHardLink(root.Join(kPlace), root.Join("/Elsewhere/file"));
  EXPECT_EQ(root.Run({"--install=1"}),
            Changes({
                "~ Elsewhere/file",  // one name less
                "~ Library/Application Support/Velmora/Pellan/specifiers/caldris.xml",
            }));
  EXPECT_EQ(GetFile(root.Join("/Elsewhere/file")), "not ours");
  EXPECT_EQ(GetFile(root.Join(kPlace)), kManifest);
}

TEST_F(ManifestPlace, WithALinkOfRootsIsWrittenThrough) {
  MakeLink(root.Join(kPlace), "/Elsewhere/file");
  EXPECT_EQ(root.Run({"--install=1"}), Changes({"~ Elsewhere/file"}));
  EXPECT_EQ(GetFile(root.Join("/Elsewhere/file")), kManifest);
}

TEST_F(ManifestPlace, WithALinkThatDanglesIsWrittenThrough) {
  MakeLink(root.Join(kPlace), "/Elsewhere/new");
  EXPECT_EQ(root.Run({"--install=1"}), Changes({"+ Elsewhere/new"}));
  EXPECT_EQ(GetFile(root.Join("/Elsewhere/new")), kManifest);
}

TEST_F(ManifestPlace, WithALinkIntoAMissingFolderIsGivenUp) {
  MakeLink(root.Join(kPlace), "/nowhere/file");
  EXPECT_EQ(root.Run({"--install=1"}), Changes());
}

TEST_F(ManifestPlace, WithALinkToItselfIsGivenUp) {
  MakeLink(root.Join(kPlace), "caldris.xml");
  EXPECT_EQ(root.Run({"--install=1"}), Changes());
}

TEST_F(ManifestPlace, WithALinkOfAnotherUserToAFileOfRootsIsGivenUp) {
  NEED_REAL_ROOT();
  MakeLink(root.Join(kPlace), "/Elsewhere/file");
  SetOwner(root.Join(kPlace), 1000, 1000);
  EXPECT_EQ(root.Run({"--install=1"}), Changes());
}

TEST_F(ManifestPlace, WithADanglingLinkOfAnotherUserIntoAFolderOfRootsIsGivenUp) {
  NEED_REAL_ROOT();
  MakeLink(root.Join(kPlace), "/Elsewhere/new");
  SetOwner(root.Join(kPlace), 1000, 1000);
  EXPECT_EQ(root.Run({"--install=1"}), Changes());
}

TEST_F(ManifestPlace, WithALinkOfAnotherUserToAFileOfTheirsIsWrittenThrough) {
  NEED_REAL_ROOT();
  MakeLink(root.Join(kPlace), "/Elsewhere/file");
  SetOwner(root.Join(kPlace), 1000, 1000);
  SetOwner(root.Join("/Elsewhere/file"), 1000, 1000);
  EXPECT_EQ(root.Run({"--install=1"}), Changes({"~ Elsewhere/file"}));
  EXPECT_EQ(GetFile(root.Join("/Elsewhere/file")), kManifest);
  if (!HasFault(Fault::kKeepsTheOwner)) {
    EXPECT_EQ(GetOwner(root.Join("/Elsewhere/file")), 0U);
  }
}

TEST_F(ManifestPlace, WithAFolderIsGivenUp) {
  MakeDirs(root.Join(kPlace));
  EXPECT_EQ(root.Run({"--install=1"}), Changes());
  PutFile(root.Join(kPlace) + "/file", "not ours");
  EXPECT_EQ(root.Run({"--install=1"}), Changes());
}

TEST_F(ManifestPlace, WithAFifoIsGivenUp) {
  MakeFifo(root.Join(kPlace));
  EXPECT_EQ(root.Run({"--install=1"}), Changes());
}

TEST_F(ManifestPlace, WithAFileIsClearedByARemoval) {
  PutFile(root.Join(kPlace), "old");
  EXPECT_EQ(Remove(),
            Changes({"- Library/Application Support/Velmora/Pellan/specifiers/caldris.xml"}));
}

TEST_F(ManifestPlace, WithALinkIsClearedByARemovalAndWhatItLedToStays) {
  MakeLink(root.Join(kPlace), "/Elsewhere/file");
  EXPECT_EQ(Remove(),
            Changes({"- Library/Application Support/Velmora/Pellan/specifiers/caldris.xml"}));
}

TEST_F(ManifestPlace, WithALinkThatDanglesIsLeftAloneByARemoval) {
  MakeLink(root.Join(kPlace), "/nowhere");
  EXPECT_EQ(Remove(), Changes());
}

TEST_F(ManifestPlace, WithAHardLinkLosesItsNameByARemoval) {
  MakeHardLink(root.Join(kPlace), root.Join("/Elsewhere/file"));
  EXPECT_EQ(Remove(), Changes({
                          "~ Elsewhere/file",  // one name less
                          "- Library/Application Support/Velmora/Pellan/specifiers/caldris.xml",
                      }));
  EXPECT_EQ(GetFile(root.Join("/Elsewhere/file")), "not ours");
}

TEST_F(ManifestPlace, WithAnEmptyFolderIsClearedByARemoval) {
  MakeDirs(root.Join(kPlace));
  EXPECT_EQ(Remove(),
            Changes({"- Library/Application Support/Velmora/Pellan/specifiers/caldris.xml"}));
}

TEST_F(ManifestPlace, WithAFullFolderIsLeftAloneByARemoval) {
  PutFile(root.Join(kPlace) + "/file", "not ours");
  EXPECT_EQ(Remove(), Changes());
}

TEST_F(ManifestPlace, BelowAFileIsGivenUp) {
  for (const char* path :
       {"/Library/Application Support/Velmora/Pellan/specifiers",
        "/Library/Application Support/Velmora/Pellan", "/Library/Application Support/Velmora"}) {
    SCOPED_TRACE(path);
    std::filesystem::remove_all(root.Join(path));
    PutFile(root.Join(path), "not ours");
    EXPECT_EQ(root.Run({"--install=1"}), Changes());
    EXPECT_EQ(root.Run({}), Changes({"- Applications/Velmora Caldris/Velmora Caldris"}));
    MakeLink(root.Join("/Applications/Velmora Caldris/Velmora Caldris"),
             "/Applications/Utilities/Velmora Caldris/Ixer/Caldris.app");
  }
}

TEST_F(ManifestPlace, IsAtTheTopWhereThereCanBeNoSupportFolder) {
  std::filesystem::remove_all(root.Join("/Library/Application Support"));
  PutFile(root.Join("/Library/Application Support"), "not ours");
  EXPECT_EQ(root.Run({"--install=1"}), Changes({
                                           "+ Velmora",
                                           "+ Velmora/Pellan",
                                           "+ Velmora/Pellan/specifiers",
                                           "+ Velmora/Pellan/specifiers/caldris.xml",
                                       }));
  EXPECT_EQ(Remove(), Changes({"- Velmora/Pellan/specifiers/caldris.xml"}));
}

TEST_F(ManifestPlace, IsAtTheTopWhereThereCanBeNoLibrary) {
  std::filesystem::remove_all(root.Join("/Library"));
  PutFile(root.Join("/Library"), "not ours");
  EXPECT_EQ(root.Run({"--install=1"}), Changes({
                                           "+ Velmora",
                                           "+ Velmora/Pellan",
                                           "+ Velmora/Pellan/specifiers",
                                           "+ Velmora/Pellan/specifiers/caldris.xml",
                                       }));
}

TEST_F(ManifestPlace, IsWrittenWhereThereCanBeNoApplicationsFolder) {
  std::filesystem::remove_all(root.Join("/Applications"));
  PutFile(root.Join("/Applications"), "not ours");
  EXPECT_EQ(root.Run({"--install=1"}),
            Changes({"+ Library/Application Support/Velmora/Pellan/specifiers/caldris.xml"}));
  EXPECT_EQ(GetFile(root.Join(kPlace)),
            "<?xml version=\"1.0\"?><SpecifierManifest Version=\"1.0\"><Name>caldris</Name>"
            "<Version>6.7.0</Version><Locale></Locale><Group></Group>"
            "<Path>/Utilities/Velmora Caldris/Ixer/Caldris.app</Path></SpecifierManifest>");
  EXPECT_EQ(root.Run({}),
            Changes({"- Library/Application Support/Velmora/Pellan/specifiers/caldris.xml"}));
}

TEST_F(ManifestPlace, BelowALinkOfRootsIsUsed) {
  std::filesystem::remove_all(root.Join(kFolder));
  MakeLink(root.Join(kFolder), "/Elsewhere");
  EXPECT_EQ(root.Run({"--install=1"}), Changes({"+ Elsewhere/caldris.xml"}));
  EXPECT_EQ(Remove(), Changes({"- Elsewhere/caldris.xml"}));
}

TEST_F(ManifestPlace, BelowALinkThatDanglesIsGivenUp) {
  std::filesystem::remove_all(root.Join(kFolder));
  MakeLink(root.Join(kFolder), "/nowhere");
  EXPECT_EQ(root.Run({"--install=1"}), Changes());
}

TEST_F(ManifestPlace, BelowALinkOfAnotherUserToAFolderOfRootsIsGivenUp) {
  NEED_REAL_ROOT();
  const struct {
    const char* path;
    Changes foldersOnMacOS;  // made before the file is not
  } rows[] = {
      {"/Library/Application Support/Velmora/Pellan/specifiers", {}},
      {"/Library/Application Support/Velmora/Pellan", {"+ Elsewhere/specifiers"}},
      {"/Library/Application Support/Velmora",
       {"+ Elsewhere/Pellan", "+ Elsewhere/Pellan/specifiers"}},
  };
  for (const auto& [path, foldersOnMacOS] : rows) {
    SCOPED_TRACE(path);
    std::filesystem::remove_all(root.Join(path));
    std::filesystem::remove_all(root.Join("/Elsewhere"));
    MakeDirs(root.Join("/Elsewhere"));
    MakeLink(root.Join(path), "/Elsewhere");
    SetOwner(root.Join(path), 1000, 1000);
    EXPECT_EQ(root.Run({"--install=1"}), kIsPosixHalf ? Changes() : foldersOnMacOS);
    std::filesystem::remove(root.Join(path));
  }
}

TEST_F(ManifestPlace, BelowALinkOfAnotherUserToAFolderOfTheirsIsUsed) {
  NEED_REAL_ROOT();
  std::filesystem::remove_all(root.Join(kFolder));
  SetOwner(root.Join("/Elsewhere"), 1000, 1000);
  MakeLink(root.Join(kFolder), "/Elsewhere");
  SetOwner(root.Join(kFolder), 1000, 1000);
  EXPECT_EQ(root.Run({"--install=1"}), Changes({"+ Elsewhere/caldris.xml"}));
}

TEST_F(ManifestPlace, IsRidOfTheUnfinishedFileOfAKilledRunAndOfNothingElse) {
  PutFile(root.Join(kFolder) + "/.zint-write-0123456789abcdef", "<?xml");
  PutFile(root.Join(kFolder) + "/.zint-write-0123", "not ours");
  PutFile(root.Join(kFolder) + "/.hidden", "not ours");
  PutFile(root.Join(kFolder) + "/other.xml", "not ours");
  Changes changes = {"+ Library/Application Support/Velmora/Pellan/specifiers/caldris.xml"};
  if (kIsPosixHalf) {
    changes.insert(changes.begin(),
                   "- Library/Application "
                   "Support/Velmora/Pellan/specifiers/.zint-write-0123456789abcdef");
  }
  EXPECT_EQ(root.Run({"--install=1"}), changes);
}

}  // namespace

}  // namespace test
