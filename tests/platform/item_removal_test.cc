#include "platform/item_removal.h"

#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "tests/support/files.h"
#include "tests/support/known_faults.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"
#include "tests/support/tree.h"

namespace platform {

namespace {

constexpr uid_t kUser = 1001;

class RemoveItemTest : public testing::Test {
 protected:
  [[nodiscard]] std::string At(const std::string& relative) const { return dir_.Join(relative); }
  test::ScopedTempDir dir_;
};

TEST_F(RemoveItemTest, RemovesItemsOfEveryKind) {
  test::PutFile(At("file"), "x");
  test::SetMode(At("file"), 0);
  test::MakeFifo(At("fifo"));
  test::MakeDirs(At("empty"));
  test::MakeDirs(At("slash"));
  for (const std::string name : {"file", "fifo", "empty", "slash/"}) {
    SCOPED_TRACE(name);
    std::string errorText = "kept";
    EXPECT_TRUE(RemoveItem(At(name), &errorText));
    EXPECT_FALSE(test::IsThere(At(name)));
    EXPECT_EQ("kept", errorText);
  }
}

TEST_F(RemoveItemTest, RemovesAFolderWithEverythingInIt) {
  test::PutFile(At("tree/file"), "x");
  test::PutFile(At("tree/.hidden"), "x");
  test::PutFile(At("tree/a/b/c/file"), "x");
  test::PutFile(At("tree/a/b/file"), "x");
  test::MakeDirs(At("tree/a/b/empty"));
  test::PutFile(At("tree/a/d/e/file"), "x");
  test::MakeFifo(At("tree/a/fifo"));
  test::MakeLink(At("tree/a/dangling"), "missing");
  test::PutFile(At("tree/other/x/y"), "x");
  test::PutFile(At("treeBeside"), "x");
  EXPECT_TRUE(RemoveItem(At("tree"), nullptr));
  EXPECT_FALSE(test::IsThere(At("tree")));
  EXPECT_EQ("x", test::GetFile(At("treeBeside")));
}

TEST_F(RemoveItemTest, RemovesALinkAndNotWhatItLeadsTo) {
  test::PutFile(At("folder/file"), "x");
  test::MakeLink(At("toFolder"), "folder");
  test::MakeLink(At("toFile"), "folder/file");
  test::MakeLink(At("dangling"), "missing");
  const test::Tree before = test::ReadTree(dir_.Path());
  EXPECT_TRUE(RemoveItem(At("toFolder"), nullptr));
  EXPECT_TRUE(RemoveItem(At("toFile"), nullptr));
  EXPECT_TRUE(RemoveItem(At("dangling"), nullptr));
  EXPECT_EQ((std::vector<std::string>{"- dangling", "- toFile", "- toFolder"}),
            test::CompareTrees(before, test::ReadTree(dir_.Path())));
}

TEST_F(RemoveItemTest, RemovesLinksInTheTreeAndNotWhatTheyLeadTo) {
  test::PutFile(At("outside/file"), "x");
  test::MakeDirs(At("tree/sub"));
  test::MakeLink(At("tree/toFolder"), "../outside");
  test::MakeLink(At("tree/sub/toFolder"), At("outside"));
  test::MakeLink(At("tree/sub/toFile"), At("outside/file"));
  test::MakeLink(At("tree/sub/up"), "..");
  EXPECT_TRUE(RemoveItem(At("tree"), nullptr));
  EXPECT_FALSE(test::IsThere(At("tree")));
  EXPECT_EQ("x", test::GetFile(At("outside/file")));
}

TEST_F(RemoveItemTest, FollowsALinkAmongTheAncestors) {
  test::PutFile(At("folder/tree/file"), "x");
  test::MakeLink(At("link"), "folder");
  EXPECT_TRUE(RemoveItem(At("link/tree"), nullptr));
  EXPECT_FALSE(test::IsThere(At("folder/tree")));
  EXPECT_TRUE(test::IsThere(At("link")));
}

TEST_F(RemoveItemTest, RemovesOneNameOfAFile) {
  test::PutFile(At("file"), "x");
  test::MakeHardLink(At("other"), At("file"));
  EXPECT_TRUE(RemoveItem(At("file"), nullptr));
  EXPECT_FALSE(test::IsThere(At("file")));
  EXPECT_EQ("x", test::GetFile(At("other")));
}

TEST_F(RemoveItemTest, FailsWithoutAnItemAndSaysSo) {
  test::PutFile(At("file"), "x");
  const std::string paths[] = {
      At("missing"),
      At("missing/"),
      At("missing/x"),
      At("file/x"),
      "",
      At(std::string("file\0", 5)),
      At(std::string(256, 'n')),
      At("file/"),
  };
  for (const std::string& path : paths) {
    SCOPED_TRACE(path);
    std::string errorText;
    EXPECT_FALSE(RemoveItem(path, &errorText));
    EXPECT_NE("", errorText);
    EXPECT_FALSE(RemoveItem(path, nullptr));
  }
  EXPECT_EQ("x", test::GetFile(At("file")));
}

using RemoveSingleItemTest = RemoveItemTest;

TEST_F(RemoveSingleItemTest, RemovesFilesLinksAndEmptyFolders) {
  test::PutFile(At("kept/file"), "x");
  test::PutFile(At("file"), "x");
  test::MakeFifo(At("fifo"));
  test::MakeDirs(At("empty"));
  test::MakeDirs(At("slash"));
  test::MakeLink(At("toFolder"), "kept");
  test::MakeLink(At("dangling"), "missing");
  for (const std::string name : {"file", "fifo", "empty", "slash/", "toFolder", "dangling"}) {
    SCOPED_TRACE(name);
    std::string errorText = "kept";
    EXPECT_TRUE(RemoveSingleItem(At(name), &errorText));
    EXPECT_FALSE(test::IsThere(At(name)));
    EXPECT_EQ("kept", errorText);
  }
  EXPECT_EQ("x", test::GetFile(At("kept/file")));
}

TEST_F(RemoveSingleItemTest, LeavesAFullFolderAsItIs) {
  if (test::HasFault(test::Fault::kAsksNobodyBeforeRemoval)) {
    GTEST_SKIP() << "GNUstep removes what is in the folder as well";
  }
  test::PutFile(At("full/a/b/file"), "x");
  test::MakeLink(At("link"), "full");
  const test::Tree before = test::ReadTree(dir_.Path());
  for (const std::string name : {"full", "full/", "full/a"}) {
    SCOPED_TRACE(name);
    std::string errorText;
    EXPECT_FALSE(RemoveSingleItem(At(name), &errorText));
    EXPECT_NE("", errorText);
    EXPECT_FALSE(RemoveSingleItem(At(name), nullptr));
  }
  EXPECT_EQ(before, test::ReadTree(dir_.Path()));
}

TEST_F(RemoveSingleItemTest, FailsWithoutAnItemAndSaysSo) {
  test::PutFile(At("file"), "x");
  for (const std::string& path :
       {At("missing"), At("missing/x"), At("file/x"), At("file/"), std::string()}) {
    SCOPED_TRACE(path);
    std::string errorText;
    EXPECT_FALSE(RemoveSingleItem(path, &errorText));
    EXPECT_NE("", errorText);
    EXPECT_FALSE(RemoveSingleItem(path, nullptr));
  }
  EXPECT_EQ("x", test::GetFile(At("file")));
}

class RemoveItemAsUserTest : public RemoveItemTest {
 protected:
  void SetUp() override {
    if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
    test::MakeDirs(At("his"));
    test::SetOwner(At("his"), kUser, kUser);
  }

  // Makes a folder of the user's, with missing parents, all of them his.
  void MakeHis(const std::string& relative, mode_t mode) {
    test::MakeDirs(At("his/" + relative));
    for (std::size_t end = 0; end != std::string::npos;) {
      end = relative.find('/', end + 1);
      test::SetOwner(At("his/" + relative.substr(0, end)), kUser, kUser);
    }
    test::SetMode(At("his/" + relative), mode);
  }

  // What became of it, as the user.
  void ExpectAsUser(bool expected, const std::string& relative) {
    test::RunInChild([&] {
      ASSERT_EQ(0, ::seteuid(kUser));
      std::string errorText;
      EXPECT_EQ(expected, RemoveItem(At("his/" + relative), &errorText));
      EXPECT_EQ(expected, errorText.empty());
    });
    EXPECT_EQ(!expected, test::IsThere(At("his/" + relative)));
  }
};

TEST_F(RemoveItemAsUserTest, RemovesAnEmptyFolderThatHeMayNotRead) {
  MakeHis("unreadable", 0);
  ExpectAsUser(/*expected=*/true, "unreadable");
  MakeHis("unsearchable", 0400);
  ExpectAsUser(/*expected=*/true, "unsearchable");
  MakeHis("tree/unreadable", 0);
  MakeHis("tree/other", 0755);
  ExpectAsUser(/*expected=*/true, "tree");
}

TEST_F(RemoveItemAsUserTest, FailsOnAFullFolderThatHeMayNotReadOrSearch) {
  for (const mode_t mode : {mode_t{0}, mode_t{0300}, mode_t{0400}}) {
    for (const std::string inner : {"file", "folder/file"}) {
      SCOPED_TRACE(std::to_string(mode) + inner);
      const std::string name = "tree" + std::to_string(mode) + inner.substr(0, 2);
      MakeHis(name, 0755);
      test::PutFile(At("his/" + name + "/" + inner), "x");
      test::SetMode(At("his/" + name), mode);
      ExpectAsUser(/*expected=*/false, name);
      EXPECT_EQ("x", test::GetFile(At("his/" + name + "/" + inner)));
    }
  }
}

TEST_F(RemoveItemAsUserTest, FailsWhereHeMayNotWrite) {
  MakeHis("tree/locked", 0755);
  test::PutFile(At("his/tree/locked/file"), "x");
  test::SetMode(At("his/tree/locked"), 0555);
  ExpectAsUser(/*expected=*/false, "tree");
  EXPECT_EQ("x", test::GetFile(At("his/tree/locked/file")));
}

TEST_F(RemoveItemAsUserTest, RemovesAReadOnlyFile) {
  MakeHis("tree", 0755);
  test::PutFile(At("his/tree/file"), "x");
  test::SetMode(At("his/tree/file"), 0);
  ExpectAsUser(/*expected=*/true, "tree");
}

}  // namespace

}  // namespace platform
