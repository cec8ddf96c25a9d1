#include "platform/folder_creation.h"

#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "tests/support/files.h"
#include "tests/support/known_faults.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"
#include "tests/support/tree.h"

using namespace std::string_literals;

namespace platform {
namespace {

class CreateFolderTest : public testing::Test {
 protected:
  // The paths of everything below the temporary folder, folders with a "/" behind them.
  [[nodiscard]] std::vector<std::string> Items() const {
    std::vector<std::string> items;
    for (const auto& [path, item] : test::ReadTree(dir_.Path())) {
      if (!path.empty()) items.push_back(item.kind == 'd' ? path + "/" : path);
    }
    return items;
  }

  bool Create(const std::string& relative, const FolderAttributes* attributes = nullptr) {
    return CreateFolder(dir_.Join(relative), attributes, nullptr);
  }

  using Names = std::vector<std::string>;
  test::ScopedTempDir dir_;
};

TEST_F(CreateFolderTest, MakesAFolder) {
  EXPECT_TRUE(Create("a"));
  EXPECT_EQ(Items(), Names({"a/"}));
}

TEST_F(CreateFolderTest, MakesEveryMissingFolderOnTheWay) {
  EXPECT_TRUE(Create("a/b/c"));
  EXPECT_EQ(Items(), Names({"a/", "a/b/", "a/b/c/"}));
}

TEST_F(CreateFolderTest, TakesSlashesAtTheEndAndTwice) {
  EXPECT_TRUE(Create("a/"));
  EXPECT_TRUE(Create("b//"));
  EXPECT_TRUE(Create("c//d//"));
  EXPECT_EQ(Items(), Names({"a/", "b/", "c/", "c/d/"}));
}

TEST_F(CreateFolderTest, TakesADotAtTheEndAndInside) {
  EXPECT_TRUE(Create("a/."));
  EXPECT_TRUE(Create("b/./c"));
  EXPECT_EQ(Items(), Names({"a/", "b/", "b/c/"}));
}

TEST_F(CreateFolderTest, MakesAMissingFolderThatTheWayLeavesAgain) {
  EXPECT_TRUE(Create("x/../y"));
  EXPECT_EQ(Items(), Names({"x/", "y/"}));
}

TEST_F(CreateFolderTest, GoesThroughWhatIsThereBehindAMissingFolder) {
  test::MakeDirs(dir_.Join("folder"));
  test::MakeLink(dir_.Join("link"), "folder");
  EXPECT_TRUE(Create("x/../folder/a"));
  EXPECT_TRUE(Create("y/../link/b"));
  EXPECT_EQ(Items(), Names({"folder/", "folder/a/", "folder/b/", "link", "x/", "y/"}));
}

TEST_F(CreateFolderTest, StartsARelativePathAtTheWorkingFolder) {
  test::RunInChild([this] {
    ASSERT_EQ(chdir(dir_.Path().c_str()), 0);
    EXPECT_TRUE(CreateFolder("a", nullptr, nullptr));
    EXPECT_TRUE(CreateFolder("b/c/", nullptr, nullptr));
    EXPECT_TRUE(CreateFolder("./d", nullptr, nullptr));
  });
  EXPECT_EQ(Items(), Names({"a/", "b/", "b/c/", "d/"}));
}

TEST_F(CreateFolderTest, FollowsLinksAmongTheAncestors) {
  test::MakeDirs(dir_.Join("folder"));
  test::MakeLink(dir_.Join("link"), "folder");
  EXPECT_TRUE(Create("link/a/b"));
  EXPECT_EQ(Items(), Names({"folder/", "folder/a/", "folder/a/b/", "link"}));
}

TEST_F(CreateFolderTest, IsContentWithAFolderThatIsThereAndLeavesIt) {
  test::PutFile(dir_.Join("a/file"), "content");
  test::SetMode(dir_.Join("a"), 0700);
  const test::Tree before = test::ReadTree(dir_.Path());
  FolderAttributes attributes;
  attributes.mode = 0777;
  EXPECT_TRUE(Create("a", &attributes));
  EXPECT_EQ(test::ReadTree(dir_.Path()), before);
}

TEST_F(CreateFolderTest, IsContentWithALinkToAFolderAndLeavesBoth) {
  test::MakeDirs(dir_.Join("folder"));
  test::MakeLink(dir_.Join("link"), "folder");
  const test::Tree before = test::ReadTree(dir_.Path());
  FolderAttributes attributes;
  attributes.mode = 0777;
  EXPECT_TRUE(Create("link", &attributes));
  EXPECT_EQ(test::ReadTree(dir_.Path()), before);
}

TEST_F(CreateFolderTest, FailsWhereSomethingElseIs) {
  if (test::HasFault(test::Fault::kTakesAnythingForAFolder)) GTEST_SKIP() << "GNUstep succeeds";
  test::PutFile(dir_.Join("file"), "content");
  test::MakeLink(dir_.Join("to file"), "file");
  test::MakeFifo(dir_.Join("fifo"));
  const test::Tree before = test::ReadTree(dir_.Path());
  for (const std::string path : {"file", "to file", "fifo", "file/"}) {
    SCOPED_TRACE(path);
    EXPECT_FALSE(Create(path));
  }
  EXPECT_EQ(test::ReadTree(dir_.Path()), before);
}

TEST_F(CreateFolderTest, FailsWhereSomethingElseIsOnTheWay) {
  test::PutFile(dir_.Join("file"), "content");
  test::MakeLink(dir_.Join("to file"), "file");
  test::MakeLink(dir_.Join("dangling"), "missing");
  test::MakeFifo(dir_.Join("fifo"));
  const test::Tree before = test::ReadTree(dir_.Path());
  for (const std::string path :
       {"file/a", "file/a/b", "to file/a", "dangling", "dangling/a", "fifo/a"}) {
    SCOPED_TRACE(path);
    EXPECT_FALSE(Create(path));
  }
  EXPECT_EQ(test::ReadTree(dir_.Path()), before);
}

TEST_F(CreateFolderTest, FailsWithAnEmptyPath) {
  std::string text;
  EXPECT_FALSE(CreateFolder("", nullptr, &text));
  EXPECT_NE(text, "");
}

TEST_F(CreateFolderTest, KeepsWhatItMadeBeforeItFailed) {
  const std::string longName(256, 'x');
  EXPECT_FALSE(Create("a/b/" + longName + "/c"));
  EXPECT_EQ(Items(), Names({"a/", "a/b/"}));
}

TEST_F(CreateFolderTest, FailsWhereItMayNotWrite) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::RunInChild([this] {
    ASSERT_EQ(seteuid(1000), 0);
    EXPECT_FALSE(Create("a/b"));
  });
  EXPECT_EQ(Items(), Names({}));
}

TEST_F(CreateFolderTest, DescribesAFailureAndOnlyThat) {
  test::PutFile(dir_.Join("file"), "");
  std::string text = "untouched";
  EXPECT_TRUE(CreateFolder(dir_.Join("a"), nullptr, &text));
  EXPECT_EQ(text, "untouched");
  EXPECT_FALSE(CreateFolder(dir_.Join("file/a"), nullptr, &text));
  EXPECT_NE(text, "untouched");
  EXPECT_NE(text, "");
}

TEST_F(CreateFolderTest, FailsWithANulByte) {
  std::string text;
  EXPECT_FALSE(CreateFolder(dir_.Join("a\0b"s), nullptr, &text));
  EXPECT_NE(text, "");
  EXPECT_FALSE(CreateFolder(dir_.Join("a/b\0"s), nullptr, nullptr));
  EXPECT_EQ(Items(), Names({}));
}

TEST_F(CreateFolderTest, LeavesTheModeToTheUmaskWithoutAttributes) {
  const test::ScopedUmask mask(027);
  EXPECT_TRUE(Create("a/b"));
  EXPECT_EQ(test::GetMode(dir_.Join("a")), 0750U);
  EXPECT_EQ(test::GetMode(dir_.Join("a/b")), 0750U);
}

TEST_F(CreateFolderTest, LeavesTheModeToTheUmaskWhereTheAttributesSayNothingOfIt) {
  const test::ScopedUmask mask(027);
  const FolderAttributes attributes;
  EXPECT_TRUE(Create("a", &attributes));
  EXPECT_EQ(test::GetMode(dir_.Join("a")), 0750U);
}

TEST_F(CreateFolderTest, GivesExactlyTheModeWhateverTheUmask) {
  struct Row {
    mode_t mask;
    mode_t mode;
  };
  static constexpr Row kRows[] = {{077, 0777}, {022, 0775}, {0, 0700}, {0, 0500}, {022, 01777}};
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.mode);
    const test::ScopedTempDir dir;
    const test::ScopedUmask mask(row.mask);
    FolderAttributes attributes;
    attributes.mode = row.mode;
    EXPECT_TRUE(CreateFolder(dir.Join("a"), &attributes, nullptr));
    EXPECT_EQ(test::GetMode(dir.Join("a")), row.mode);
  }
}

TEST_F(CreateFolderTest, GivesTheAttributesToEveryNewFolderAndToNoOther) {
  test::MakeDirs(dir_.Join("old"));
  FolderAttributes attributes;
  attributes.mode = 0711;
  EXPECT_TRUE(Create("old/a/b", &attributes));
  EXPECT_EQ(test::GetMode(dir_.Join("old")), 0755U);
  EXPECT_EQ(test::GetMode(dir_.Join("old/a")), 0711U);
  EXPECT_EQ(test::GetMode(dir_.Join("old/a/b")), 0711U);
}

TEST_F(CreateFolderTest, GivesOwnerAndGroupToEveryNewFolder) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  FolderAttributes attributes;
  attributes.owner = 501;
  attributes.group = 20;
  attributes.mode = 0775;
  EXPECT_TRUE(Create("a/b", &attributes));
  for (const std::string path : {"a", "a/b"}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(test::GetOwner(dir_.Join(path)), 501U);
    EXPECT_EQ(test::GetGroup(dir_.Join(path)), 20U);
    EXPECT_EQ(test::GetMode(dir_.Join(path)), 0775U);
  }
}

TEST_F(CreateFolderTest, GivesOnlyTheAttributesThatThereAre) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedUmask mask(022);
  FolderAttributes owner;
  owner.owner = 501;
  EXPECT_TRUE(Create("owned", &owner));
  EXPECT_EQ(test::GetOwner(dir_.Join("owned")), 501U);
  EXPECT_EQ(test::GetGroup(dir_.Join("owned")), getegid());
  EXPECT_EQ(test::GetMode(dir_.Join("owned")), 0755U);

  FolderAttributes group;
  group.group = 20;
  EXPECT_TRUE(Create("grouped", &group));
  EXPECT_EQ(test::GetOwner(dir_.Join("grouped")), 0U);
  EXPECT_EQ(test::GetGroup(dir_.Join("grouped")), 20U);
  EXPECT_EQ(test::GetMode(dir_.Join("grouped")), 0755U);
}

TEST_F(CreateFolderTest, SucceedsWhereAnOwnerCannotBeGiven) {
  if (test::HasFault(test::Fault::kFailsWithoutTheAttributes)) GTEST_SKIP() << "GNUstep fails then";
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::SetMode(dir_.Path(), 0777);
  test::RunInChild([this] {
    ASSERT_EQ(seteuid(1000), 0);
    FolderAttributes attributes;
    attributes.owner = 501;
    attributes.mode = 0700;
    EXPECT_TRUE(Create("a", &attributes));
  });
  EXPECT_EQ(test::GetOwner(dir_.Join("a")), 1000U);
  EXPECT_EQ(test::GetMode(dir_.Join("a")), 0700U);
}

}  // namespace
}  // namespace platform
