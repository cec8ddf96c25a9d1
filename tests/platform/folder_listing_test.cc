#include "platform/folder_listing.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <unistd.h>

#include "platform/path_walk.h"
#include "platform/unique_fd.h"
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
using test::WalkAt;

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
                          "empty",
                          "fifo",
                          "file",
                          "sub",
                          "sub/inner",
                          "sub/inner/deep",
                          "sub/inner/deeper",
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
  WalkAt(At("a"), [&](const std::string& entry) {
    places.emplace(entry, places.size());
    return WalkStep::kEnter;
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
  EXPECT_EQ((Names{"b", "b/file"}), Walk(At("link")));
}

TEST_F(WalkFolderTest, PassesAFolderOnRequest) {
  test::PutFile(At("a/pass/x"), "x");
  test::PutFile(At("a/enter/pass/x"), "x");
  test::PutFile(At("a/enter/y"), "x");
  test::PutFile(At("a/z"), "x");
  Names paths;
  WalkAt(At("a"), [&](const std::string& entry) {
    paths.push_back(entry);
    return entry == "enter" ? WalkStep::kEnter : WalkStep::kPass;
  });
  std::sort(paths.begin(), paths.end());
  EXPECT_EQ((Names{"enter", "enter/pass", "enter/y", "pass", "z"}), paths);
}

TEST_F(WalkFolderTest, RemovesEntriesOnRequest) {
  for (int i = 0; i < 300; ++i) {
    test::PutFile(At("a/f" + std::to_string(i)), "x");
    test::PutFile(At("a/sub/f" + std::to_string(i)), "x");
    test::MakeDirs(At("a/sub/empty" + std::to_string(i)));
  }
  int visits = 0;
  WalkAt(At("a"), [&](const std::string& entry) {
    ++visits;
    return entry == "sub" ? WalkStep::kEnter : WalkStep::kRemove;
  });
  EXPECT_EQ(901, visits);
  EXPECT_EQ(Names{"sub"}, List(At("a")));
  EXPECT_EQ(Names{}, List(At("a/sub")));
}

TEST_F(WalkFolderTest, RemovesLinksThemselves) {
  test::PutFile(At("outside/file"), "x");
  test::MakeDirs(At("a"));
  test::MakeLink(At("a/toFolder"), "../outside");
  test::MakeLink(At("a/toFile"), "../outside/file");
  test::MakeLink(At("a/dangling"), "missing");
  WalkAt(At("a"), [](const std::string& /*entry*/) { return WalkStep::kRemove; });
  EXPECT_EQ(Names{}, List(At("a")));
  EXPECT_EQ("x", test::GetFile(At("outside/file")));
}

TEST_F(WalkFolderTest, EntersAFolderThatItCouldNotRemove) {
  test::PutFile(At("a/full/inner/file"), "x");
  test::MakeDirs(At("a/full/empty"));
  Names paths;
  WalkAt(At("a"), [&](const std::string& entry) {
    paths.push_back(entry);
    return WalkStep::kRemove;
  });
  std::sort(paths.begin(), paths.end());
  EXPECT_EQ((Names{"full", "full/empty", "full/inner", "full/inner/file"}), paths);
  EXPECT_EQ((Names{"full", "full/inner"}), Walk(At("a")));
}

TEST_F(WalkFolderTest, RemovesBelowTheHandle) {
  test::PutFile(At("a/file"), "x");
  UniqueFd folder;
  ASSERT_EQ(0, OpenFolder(At("a"), &folder));
  ASSERT_EQ(0, ::rename(At("a").c_str(), At("moved").c_str()));
  test::PutFile(At("a/file"), "kept");
  WalkFolder(folder.Get(), At("a"), [](const std::string& /*entry*/) { return WalkStep::kRemove; });
  EXPECT_FALSE(test::IsThere(At("moved/file")));
  EXPECT_EQ("kept", test::GetFile(At("a/file")));
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
    EXPECT_EQ((Names{"b", "b/good", "b/good/x", "b/unreadable"}), Walk(At("a")));
    EXPECT_EQ(Names{}, Walk(At("closed")));
  });
}

TEST_F(WalkFolderTest, EndsWhereAFolderIsMovedAway) {
  test::PutFile(At("a/b/c/file"), "x");
  test::PutFile(At("elsewhere/b/other"), "x");
  Names paths;
  WalkAt(At("a"), [&](const std::string& entry) {
    paths.push_back(entry);
    // From inside "b/c": the way back from "b" leads elsewhere then.
    if (entry == "b/c/file") {
      EXPECT_EQ(0, ::rename(At("a/b").c_str(), At("elsewhere/moved").c_str()));
    }
    return WalkStep::kEnter;
  });
  EXPECT_EQ((Names{"b", "b/c", "b/c/file"}), paths);
}

}  // namespace

}  // namespace platform
