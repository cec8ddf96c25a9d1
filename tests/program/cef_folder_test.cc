#include <filesystem>
#include <gtest/gtest.h>

#include "tests/program/throw_away_root.h"
#include "tests/support/files.h"
#include "tests/support/known_faults.h"

// What an install does about a left-over CEF folder. Manifest and shortcut are in place already,
// so that nothing else changes.

namespace test {

namespace {

constexpr const char* kCef = "/Applications/Utilities/Velmora Caldris/CEF";

class CefFolder : public ProgramTest {
 protected:
  CefFolder() {
    root.AddInstalledBundle();
    MakeDirs(root.Join("/Elsewhere"));
    PutFile(root.Join("/Elsewhere/file"), "not ours");
  }

  void SetUp() override {
    ProgramTest::SetUp();
    if (!IsSkipped()) (void)root.Run({"--install=1"});
  }

  [[nodiscard]] std::string Cef(const std::string& below = "") const {
    return root.Join(kCef + below);
  }
};

TEST_F(CefFolder, IsNoTroubleWhereItIsMissing) { EXPECT_EQ(root.Run({"--install=1"}), Changes()); }

TEST_F(CefFolder, GoesWithAllThatIsInIt) {
  PutFile(Cef("/libcef.so"), "library");
  PutFile(Cef("/locales/de.pak"), "text");
  MakeDirs(Cef("/locales/empty"));
  MakeFifo(Cef("/pipe"));
  MakeLink(Cef("/dangling"), "/nowhere");
  SetMode(Cef("/locales/de.pak"), 0);
  EXPECT_EQ(root.Run({"--install=1"}),
            Changes({
                "- Applications/Utilities/Velmora Caldris/CEF",
                "- Applications/Utilities/Velmora Caldris/CEF/dangling",
                "- Applications/Utilities/Velmora Caldris/CEF/libcef.so",
                "- Applications/Utilities/Velmora Caldris/CEF/locales",
                "- Applications/Utilities/Velmora Caldris/CEF/locales/de.pak",
                "- Applications/Utilities/Velmora Caldris/CEF/locales/empty",
                "- Applications/Utilities/Velmora Caldris/CEF/pipe",
            }));
}

TEST_F(CefFolder, GoesWithoutWhatItsLinksLeadTo) {
  MakeDirs(Cef());
  MakeLink(Cef("/folder"), "/Elsewhere");
  MakeLink(Cef("/file"), "/Elsewhere/file");
  MakeLink(Cef("/up"), "..");
  MakeHardLink(Cef("/name"), root.Join("/Elsewhere/file"));
  EXPECT_EQ(root.Run({"--install=1"}), Changes({
                                           "- Applications/Utilities/Velmora Caldris/CEF",
                                           "- Applications/Utilities/Velmora Caldris/CEF/file",
                                           "- Applications/Utilities/Velmora Caldris/CEF/folder",
                                           "- Applications/Utilities/Velmora Caldris/CEF/name",
                                           "- Applications/Utilities/Velmora Caldris/CEF/up",
                                           "~ Elsewhere/file",  // one name less
                                       }));
  EXPECT_EQ(GetFile(root.Join("/Elsewhere/file")), "not ours");
}

TEST_F(CefFolder, GoesWhereItIsEmpty) {
  MakeDirs(Cef());
  EXPECT_EQ(root.Run({"--install=1"}), Changes({"- Applications/Utilities/Velmora Caldris/CEF"}));
}

TEST_F(CefFolder, GoesWhereItIsAFile) {
  PutFile(Cef(), "file");
  EXPECT_EQ(root.Run({"--install=1"}), Changes({"- Applications/Utilities/Velmora Caldris/CEF"}));
}

TEST_F(CefFolder, GoesWhereItIsAFifo) {
  MakeFifo(Cef());
  EXPECT_EQ(root.Run({"--install=1"}), Changes({"- Applications/Utilities/Velmora Caldris/CEF"}));
}

TEST_F(CefFolder, GoesAloneWhereItIsALink) {
  for (const char* destination : {"/Elsewhere", "/Elsewhere/file", "../../../Elsewhere"}) {
    SCOPED_TRACE(destination);
    MakeLink(Cef(), destination);
    EXPECT_EQ(root.Run({"--install=1"}), Changes({"- Applications/Utilities/Velmora Caldris/CEF"}));
  }
}

TEST_F(CefFolder, GoesAloneWhereItIsALinkOfAnotherUser) {
  NEED_REAL_ROOT();
  MakeLink(Cef(), "/Elsewhere");
  SetOwner(Cef(), 1000, 1000);
  EXPECT_EQ(root.Run({"--install=1"}), Changes({"- Applications/Utilities/Velmora Caldris/CEF"}));
}

TEST_F(CefFolder, StaysWhereItIsALinkThatDangles) {
  MakeLink(Cef(), "/nowhere");
  EXPECT_EQ(root.Run({"--install=1"}), Changes());
}

TEST_F(CefFolder, StaysWhereItIsALinkToItself) {
  MakeLink(Cef(), "CEF");
  EXPECT_EQ(root.Run({"--install=1"}), Changes());
}

TEST_F(CefFolder, StaysWhereItIsAMountPoint) {
  NEED_MOUNTS();
  MakeDirs(Cef());
  for (const bool hasProc : {true, false}) {
    if (!hasProc && kHasAddressSanitizer) continue;
    // Without /proc the mount of a folder on the same disk shows to the removal alone.
    if (!hasProc && HasFault(Fault::kEntersMountPoints)) continue;
    SCOPED_TRACE(hasProc ? "with /proc" : "without /proc");
    RunOptions options;
    options.mountProc = hasProc;
    options.mounts = [&] { MountFolder(root.Join("/Elsewhere"), Cef()); };
    EXPECT_EQ(root.Run({"--install=1"}, options), Changes());
    options.mounts = [&] {
      MountMemory(Cef(), "size=64k");
      PutFile(Cef("/file"), "not ours");
    };
    EXPECT_EQ(root.Run({"--install=1"}, options), Changes());
  }
  EXPECT_EQ(GetFile(root.Join("/Elsewhere/file")), "not ours");
}

TEST_F(CefFolder, StaysWithTheMountPointInIt) {
  NEED_MOUNTS();
  if (HasFault(Fault::kEntersMountPoints)) GTEST_SKIP() << "GNUstep empties it";
  MakeDirs(Cef("/locales/mounted"));
  RunOptions options;
  options.mounts = [&] { MountFolder(root.Join("/Elsewhere"), Cef("/locales/mounted")); };
  EXPECT_EQ(root.Run({"--install=1"}, options), Changes());
  EXPECT_EQ(GetFile(root.Join("/Elsewhere/file")), "not ours");
}

TEST_F(CefFolder, LosesTheFilesBesideAMountPointInIt) {
  NEED_MOUNTS();
  if (HasFault(Fault::kEntersMountPoints)) GTEST_SKIP() << "GNUstep empties it";
  MakeDirs(Cef("/mounted"));
  PutFile(Cef("/file"), "left over");
  RunOptions options;
  options.mounts = [&] { MountFolder(root.Join("/Elsewhere"), Cef("/mounted")); };
  EXPECT_EQ(root.Run({"--install=1"}, options),
            Changes({"- Applications/Utilities/Velmora Caldris/CEF/file"}));
  EXPECT_EQ(GetFile(root.Join("/Elsewhere/file")), "not ours");
}

TEST_F(CefFolder, StaysWithAMountedFileAtItsPlaceOrInIt) {
  NEED_MOUNTS();
  for (const char* name : {"/file", ""}) {
    SCOPED_TRACE(name);
    std::filesystem::remove_all(Cef());
    PutFile(Cef(name), "below the mount");
    RunOptions options;
    options.mounts = [&] { MountFolder(root.Join("/Elsewhere/file"), Cef(name)); };
    EXPECT_EQ(root.Run({"--install=1"}, options), Changes());
    EXPECT_EQ(GetFile(Cef(name)), "below the mount");
    EXPECT_EQ(GetFile(root.Join("/Elsewhere/file")), "not ours");
  }
}

TEST_F(CefFolder, IsReachedThroughALinkOfRoots) {
  std::filesystem::rename(root.Join("/Applications/Utilities"), root.Join("/Tools"));
  MakeLink(root.Join("/Applications/Utilities"), "/Tools");
  MakeDirs(root.Join("/Tools/Velmora Caldris/CEF"));
  EXPECT_EQ(root.Run({"--install=1"}), Changes({"- Tools/Velmora Caldris/CEF"}));
}

TEST_F(CefFolder, IsNotReachedThroughALinkOfAnotherUserToAFolderOfRoots) {
  NEED_REAL_ROOT();
  std::filesystem::rename(root.Join("/Applications/Utilities"), root.Join("/Tools"));
  MakeLink(root.Join("/Applications/Utilities"), "/Tools");
  SetOwner(root.Join("/Applications/Utilities"), 1000, 1000);
  MakeDirs(root.Join("/Tools/Velmora Caldris/CEF"));
  EXPECT_EQ(root.Run({"--install=1"}),
            kIsPosixHalf ? Changes() : Changes({"- Tools/Velmora Caldris/CEF"}));
}

TEST_F(CefFolder, IsReachedThroughALinkOfAnotherUserToAFolderOfTheirs) {
  NEED_REAL_ROOT();
  std::filesystem::rename(root.Join("/Applications/Utilities"), root.Join("/Tools"));
  SetOwner(root.Join("/Tools"), 1000, 1000);
  MakeLink(root.Join("/Applications/Utilities"), "/Tools");
  SetOwner(root.Join("/Applications/Utilities"), 1000, 1000);
  MakeDirs(root.Join("/Tools/Velmora Caldris/CEF"));
  EXPECT_EQ(root.Run({"--install=1"}), Changes({"- Tools/Velmora Caldris/CEF"}));
}

}  // namespace

}  // namespace test
