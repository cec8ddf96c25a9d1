#include "platform/folder_listing.h"

#include <algorithm>
#include <cstddef>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <unistd.h>

#include "tests/platform/folder_names.h"
#include "tests/support/files.h"
#include "tests/support/known_faults.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace platform {

namespace {

using test::List;
using test::Names;
using test::Walk;

constexpr uid_t kUser = 1001;

class FolderListingTest : public testing::Test {
 protected:
  [[nodiscard]] std::string At(const std::string& relative) const { return dir_.Join(relative); }

  test::ScopedTempDir dir_;
};

using ListFolderTest = FolderListingTest;

TEST_F(ListFolderTest, GivesTheNamesInTheFolder) {
  test::PutFile(At("a/file"), "x");
  test::PutFile(At("a/.hidden"), "x");
  test::PutFile(At("a/sub/inner"), "x");
  test::PutFile(At("a/..."), "x");
  test::PutFile(At("a/日 \n"), "x");
  test::MakeLink(At("a/dangling"), "missing");
  test::MakeFifo(At("a/fifo"));
  EXPECT_EQ((Names{"...", ".hidden", "dangling", "fifo", "file", "sub", "日 \n"}), List(At("a")));
}

TEST_F(ListFolderTest, GivesNothingForAnEmptyFolder) {
  Names names = {"old"};
  EXPECT_TRUE(ListFolder(dir_.Path(), &names));
  EXPECT_EQ(Names{}, names);
}

TEST_F(ListFolderTest, GivesEveryNameOfAWideFolder) {
  test::MakeDirs(At("a"));
  for (int i = 0; i < 1500; ++i) {
    const std::string name = "a/file with a name of some length " + std::to_string(i);
    if (i % 100 == 0) {
      test::MakeDirs(At(name));
    } else {
      test::MakeLink(At(name), "x");
    }
  }
  EXPECT_EQ(1500U, List(At("a")).size());
  EXPECT_EQ(1500U, Walk(At("a")).size());
}

TEST_F(ListFolderTest, FollowsALinkToAFolder) {
  test::PutFile(At("a/file"), "x");
  test::MakeLink(At("link"), "a");
  EXPECT_EQ(Names{"file"}, List(At("link")));
  EXPECT_EQ(Names{"file"}, List(At("link/")));
  EXPECT_EQ(Names{"file"}, List(At("link/.")));
}

TEST_F(ListFolderTest, FailsOnAnythingElseAndLeavesTheNames) {
  test::PutFile(At("file"), "x");
  test::MakeFifo(At("fifo"));
  test::MakeLink(At("dangling"), "missing");
  Names names = {"kept"};
  EXPECT_FALSE(ListFolder(At("file"), &names));
  EXPECT_FALSE(ListFolder(At("fifo"), &names));
  EXPECT_FALSE(ListFolder(At("missing"), &names));
  EXPECT_FALSE(ListFolder(At("dangling"), &names));
  EXPECT_FALSE(ListFolder("", &names));
  EXPECT_FALSE(ListFolder(At(std::string("\0", 1)), &names));
  EXPECT_EQ(Names{"kept"}, names);
}

TEST_F(ListFolderTest, NeedsTheRightToRead) {
  if (test::HasFault(test::Fault::kListsUnreadableFoldersAsEmpty)) {
    GTEST_SKIP() << "GNUstep gives an empty list";
  }
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::PutFile(At("a/file"), "x");
  test::SetMode(At("a"), 0711);
  test::RunInChild([&] {
    ASSERT_EQ(0, ::seteuid(kUser));
    EXPECT_EQ(Names{"failed"}, List(At("a")));
  });
}

TEST_F(ListFolderTest, NeedsNoRightToSearch) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::PutFile(At("a/file"), "x");
  test::SetMode(At("a"), 0744);
  test::RunInChild([&] {
    ASSERT_EQ(0, ::seteuid(kUser));
    EXPECT_EQ(Names{"file"}, List(At("a")));
  });
}

using WalkFolderTest = FolderListingTest;

TEST_F(WalkFolderTest, VisitsEverythingBelow) {
  test::PutFile(At("a/file"), "x");
  test::PutFile(At("a/.hidden"), "x");
  test::PutFile(At("a/sub/inner/deep"), "x");
  test::PutFile(At("a/sub/inner/deeper/x"), "x");
  test::PutFile(At("a/sub/last"), "x");
  test::MakeDirs(At("a/empty"));
  test::MakeFifo(At("a/fifo"));
  const Names expected = {".hidden",
                          "empty/",
                          "fifo",
                          "file",
                          "sub/",
                          "sub/inner/",
                          "sub/inner/deep",
                          "sub/inner/deeper/",
                          "sub/inner/deeper/x",
                          "sub/last"};
  EXPECT_EQ(expected, Walk(At("a")));
  EXPECT_EQ(expected, Walk(At("a/")));
}

TEST_F(WalkFolderTest, VisitsEachFolderBeforeWhatIsInIt) {
  test::PutFile(At("a/b/c/d"), "x");
  test::PutFile(At("a/b/x"), "x");
  test::PutFile(At("a/e/y"), "x");
  std::map<std::string, std::size_t> places;
  WalkFolder(At("a"), [&](const WalkEntry& entry) {
    places.emplace(entry.path, places.size());
    return true;
  });
  ASSERT_EQ(6U, places.size());
  EXPECT_LT(places["b"], places["b/c"]);
  EXPECT_LT(places["b/c"], places["b/c/d"]);
  EXPECT_LT(places["b"], places["b/x"]);
  EXPECT_LT(places["e"], places["e/y"]);
}

TEST_F(WalkFolderTest, ReportsLinksAndDoesNotEnterThem) {
  test::PutFile(At("outside/file"), "x");
  test::MakeDirs(At("a"));
  test::MakeLink(At("a/toFolder"), "../outside");
  test::MakeLink(At("a/toFile"), "../outside/file");
  test::MakeLink(At("a/dangling"), "missing");
  test::MakeLink(At("a/loop"), ".");
  EXPECT_EQ((Names{"dangling", "loop", "toFile", "toFolder"}), Walk(At("a")));
}

TEST_F(WalkFolderTest, FollowsALinkToTheFolderItself) {
  test::PutFile(At("a/b/file"), "x");
  test::MakeLink(At("link"), "a");
  EXPECT_EQ((Names{"b/", "b/file"}), Walk(At("link")));
}

TEST_F(WalkFolderTest, SkipsAFolderOnRequest) {
  test::PutFile(At("a/skip/x"), "x");
  test::PutFile(At("a/enter/skip/x"), "x");
  test::PutFile(At("a/enter/y"), "x");
  test::PutFile(At("a/z"), "x");
  Names paths;
  WalkFolder(At("a"), [&](const WalkEntry& entry) {
    paths.push_back(entry.path);
    return entry.path == "enter";
  });
  std::sort(paths.begin(), paths.end());
  EXPECT_EQ((Names{"enter", "enter/skip", "enter/y", "skip", "z"}), paths);
}

TEST_F(WalkFolderTest, LetsTheVisitorRemoveTheEntry) {
  for (int i = 0; i < 300; ++i) {
    test::PutFile(At("a/f" + std::to_string(i)), "x");
    test::PutFile(At("a/sub/f" + std::to_string(i)), "x");
    test::MakeDirs(At("a/sub/empty" + std::to_string(i)));
  }
  int visits = 0;
  WalkFolder(At("a"), [&](const WalkEntry& entry) {
    ++visits;
    if (entry.path != "sub") {
      EXPECT_EQ(0, std::remove(At("a/" + entry.path).c_str())) << entry.path;
    }
    return true;
  });
  EXPECT_EQ(901, visits);
  EXPECT_EQ(Names{"sub"}, List(At("a")));
  EXPECT_EQ(Names{}, List(At("a/sub")));
}

TEST_F(WalkFolderTest, YieldsNothingWithoutAFolder) {
  test::PutFile(At("file"), "x");
  test::MakeLink(At("dangling"), "missing");
  EXPECT_EQ(Names{}, Walk(At("file")));
  EXPECT_EQ(Names{}, Walk(At("missing")));
  EXPECT_EQ(Names{}, Walk(At("dangling")));
  EXPECT_EQ(Names{}, Walk(""));
  EXPECT_EQ(Names{}, Walk(dir_.Path() + std::string("\0", 1)));
  test::MakeDirs(At("empty"));
  EXPECT_EQ(Names{}, Walk(At("empty")));
}

TEST_F(WalkFolderTest, PassesOverWhatCannotBeRead) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::PutFile(At("a/b/unreadable/x"), "x");
  test::SetMode(At("a/b/unreadable"), 0711);
  test::PutFile(At("a/b/good/x"), "x");
  test::PutFile(At("closed/x"), "x");
  test::SetMode(At("closed"), 0711);
  test::RunInChild([&] {
    ASSERT_EQ(0, ::seteuid(kUser));
    EXPECT_EQ((Names{"b/", "b/good/", "b/good/x", "b/unreadable/"}), Walk(At("a")));
    EXPECT_EQ(Names{}, Walk(At("closed")));
  });
}

TEST_F(WalkFolderTest, EndsWhereAFolderIsMovedAway) {
  test::PutFile(At("a/b/c/file"), "x");
  test::PutFile(At("elsewhere/b/other"), "x");
  Names paths;
  WalkFolder(At("a"), [&](const WalkEntry& entry) {
    paths.push_back(entry.path);
    // From inside "b/c": the way back from "b" leads elsewhere then.
    if (entry.path == "b/c/file") {
      EXPECT_EQ(0, ::rename(At("a/b").c_str(), At("elsewhere/moved").c_str()));
    }
    return true;
  });
  EXPECT_EQ((Names{"b", "b/c", "b/c/file"}), paths);
}

}  // namespace

}  // namespace platform
