#include "platform/path_walk.h"

#include <cerrno>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "platform/system_calls_for_testing.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace platform {

namespace {

constexpr uid_t kUser = 1001;
constexpr uid_t kOther = 1002;

// The handle is on the folder that the path names.
bool IsOn(const UniqueFd& folder, const std::string& path) {
  struct stat ofHandle = {};
  struct stat ofPath = {};
  return ::fstat(folder.Get(), &ofHandle) == 0 && ::stat(path.c_str(), &ofPath) == 0 &&
         ofHandle.st_dev == ofPath.st_dev && ofHandle.st_ino == ofPath.st_ino;
}

std::string Times(int count, const std::string& text) {
  std::string result;
  for (int i = 0; i < count; ++i) result += text;
  return result;
}

class PathWalkTest : public testing::Test {
 protected:
  // A chain of links in the folder: "l1" leads to "l2" and so on; the last to `target`.
  void MakeChain(int length, const std::string& target) {
    for (int i = 1; i < length; ++i) {
      test::MakeLink(At("l" + std::to_string(i)), "l" + std::to_string(i + 1));
    }
    test::MakeLink(At("l" + std::to_string(length)), target);
  }

  void MakeOwnedLink(const std::string& path, const std::string& text, uid_t owner) {
    test::MakeLink(At(path), text);
    test::SetOwner(At(path), owner, owner);
  }

  void MakeOwnedFolder(const std::string& path, uid_t owner) {
    test::MakeDirs(At(path));
    test::SetOwner(At(path), owner, owner);
  }

  void PutOwnedFile(const std::string& path, uid_t owner) {
    test::PutFile(At(path), "x");
    test::SetOwner(At(path), owner, owner);
  }

  [[nodiscard]] std::string At(const std::string& relative) const { return dir_.Join(relative); }

  test::ScopedTempDir dir_;
};

TEST(MayFollowLink, AsksForRootsOrOwnLinkOrTheSameOwner) {
  const struct {
    const char* description;
    uid_t effectiveUser;
    uid_t linkOwner;
    uid_t targetOwner;
    bool expected;
  } rows[] = {
      {"root follows root's link", 0, 0, 501, true},
      {"root follows a user's link to what is his", 0, 501, 501, true},
      {"root does not follow a user's link to what is root's", 0, 501, 0, false},
      {"root does not follow a user's link to what is another's", 0, 501, 502, false},
      {"a user follows root's link", 501, 0, 502, true},
      {"a user follows his own link", 501, 501, 0, true},
      {"a user follows another's link to what is the other's", 501, 502, 502, true},
      {"a user does not follow another's link to what is his own", 501, 502, 501, false},
      {"a user does not follow another's link to what is root's", 501, 502, 0, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.description);
    EXPECT_EQ(row.expected, MayFollowLink(row.effectiveUser, row.linkOwner, row.targetOwner));
  }
}

using LocateItemTest = PathWalkTest;

TEST_F(LocateItemTest, FindsTheFolderThatHoldsTheItem) {
  test::PutFile(At("a/file"), "x");
  test::MakeDirs(At("a/b"));
  for (const LastLink lastLink : {LastLink::kLeave, LastLink::kFollow}) {
    for (const std::string name : {"file", "b", "missing", "...", " ", "\xff"}) {
      SCOPED_TRACE(name);
      if (name == "\xff" && !test::TakesAnyBytes(dir_.Path())) continue;
      LocatedItem item;
      ASSERT_EQ(0, LocateItem(At("a/" + name), lastLink, &item));
      EXPECT_TRUE(IsOn(item.folder, At("a")));
      EXPECT_EQ(name, item.name);
      EXPECT_FALSE(item.mustBeFolder);
      EXPECT_EQ(At("a/" + name), item.path);
    }
  }
}

TEST_F(LocateItemTest, TellsPathsThatCanOnlyNameAFolder) {
  test::MakeDirs(At("a/b"));
  const struct {
    const char* path;
    const char* folder;
    const char* name;
  } rows[] = {
      {"a/b/", "a", "b"},    {"a/b///", "a", "b"},    {"a/missing/", "a", "missing"},
      {"a/b/.", "a/b", "."}, {"a/b/./", "a/b", "."},  {"a/b/..", "a", "."},
      {"a/b/../", "a", "."}, {"a/b/../..", "", "."},  {"a//b/..//.", "a", "."},
      {"./././a/", "", "a"}, {"a/../a/b/", "a", "b"}, {"a/b/.././", "a", "."},
  };
  for (const LastLink lastLink : {LastLink::kLeave, LastLink::kFollow}) {
    for (const auto& row : rows) {
      SCOPED_TRACE(row.path);
      LocatedItem item;
      ASSERT_EQ(0, LocateItem(At(row.path), lastLink, &item));
      EXPECT_TRUE(IsOn(item.folder, At(row.folder)));
      EXPECT_EQ(row.name, item.name);
      EXPECT_TRUE(item.mustBeFolder);
      EXPECT_EQ(At(row.path), item.path);
    }
  }
}

TEST_F(LocateItemTest, FindsTheTopFolder) {
  for (const std::string path : {"/", "//", "/.", "/..", "/../."}) {
    SCOPED_TRACE(path);
    LocatedItem item;
    ASSERT_EQ(0, LocateItem(path, LastLink::kFollow, &item));
    EXPECT_TRUE(IsOn(item.folder, "/"));
    EXPECT_EQ(".", item.name);
    EXPECT_TRUE(item.mustBeFolder);
    EXPECT_EQ(path, item.path);
  }
}

TEST_F(LocateItemTest, TakesARelativePathFromTheWorkingFolder) {
  test::PutFile(At("a/file"), "x");
  test::MakeLink(At("a/link"), "file");
  test::RunInChild([&] {
    ASSERT_EQ(0, ::chdir(At("a").c_str()));
    LocatedItem item;
    ASSERT_EQ(0, LocateItem("file", LastLink::kFollow, &item));
    EXPECT_TRUE(IsOn(item.folder, At("a")));
    EXPECT_EQ("file", item.name);
    EXPECT_EQ("file", item.path);
    ASSERT_EQ(0, LocateItem("link", LastLink::kFollow, &item));
    EXPECT_EQ("file", item.path);
    ASSERT_EQ(0, LocateItem("../a/link", LastLink::kFollow, &item));
    EXPECT_EQ("../a/file", item.path);
    ASSERT_EQ(0, LocateItem(".", LastLink::kFollow, &item));
    EXPECT_TRUE(IsOn(item.folder, At("a")));
    EXPECT_EQ(".", item.name);
    ASSERT_EQ(0, LocateItem("..", LastLink::kLeave, &item));
    EXPECT_TRUE(IsOn(item.folder, dir_.Path()));
    EXPECT_EQ(".", item.name);
  });
}

TEST_F(LocateItemTest, FailsAsTheSystemsOwnResolutionDoes) {
  test::PutFile(At("file"), "x");
  test::MakeLink(At("self"), "self");
  test::MakeLink(At("ping"), "pong");
  test::MakeLink(At("pong"), "ping");
  test::MakeLink(At("dangling"), "missing");
  test::MakeLink(At("deepDangling"), "missing/x");
  test::MakeLink(At("intoFile"), "file/x");
  test::MakeLink(At("fileAsFolder"), "file/");
  const std::string longName(256, 'n');
  const struct {
    std::string path;
    int error;
  } rows[] = {
      {At("missing/x"), ENOENT},
      {At("missing/."), ENOENT},
      {At("missing/.."), ENOENT},
      {At("file/x"), ENOTDIR},
      {At("file/."), ENOTDIR},
      {At("file/.."), ENOTDIR},
      {At("file/"), ENOTDIR},
      {At("fileAsFolder"), ENOTDIR},
      {At("intoFile"), ENOTDIR},
      {At("dangling/x"), ENOENT},
      {At("deepDangling"), ENOENT},
      {At("self"), ELOOP},
      {At("self/x"), ELOOP},
      {At("ping"), ELOOP},
      {At(longName), ENAMETOOLONG},
      {At(longName + "/x"), ENAMETOOLONG},
      {"", ENOENT},
      {std::string("/\0", 2), EINVAL},
      {At(std::string("a\0b", 3)), EINVAL},
      {"/" + Times(2048, "./"), ENAMETOOLONG},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    LocatedItem item;
    EXPECT_EQ(row.error, LocateItem(row.path, LastLink::kFollow, &item));
  }
}

TEST_F(LocateItemTest, DoesNotLookAtTheItemWhereItLeavesTheLastLink) {
  test::PutFile(At("file"), "x");
  test::MakeLink(At("self"), "self");
  for (const std::string path : {"file/", "self", "self/"}) {
    SCOPED_TRACE(path);
    LocatedItem item;
    EXPECT_EQ(0, LocateItem(At(path), LastLink::kLeave, &item));
    EXPECT_EQ(path.substr(0, 4), item.name);
  }
}

TEST_F(LocateItemTest, LeavesTheItemOnFailure) {
  LocatedItem item;
  ASSERT_EQ(0, LocateItem(At("x"), LastLink::kLeave, &item));
  const int folder = item.folder.Get();
  EXPECT_EQ(ENOENT, LocateItem(At("missing/y/"), LastLink::kFollow, &item));
  EXPECT_EQ(folder, item.folder.Get());
  EXPECT_EQ("x", item.name);
  EXPECT_FALSE(item.mustBeFolder);
  EXPECT_EQ(At("x"), item.path);
}

TEST_F(LocateItemTest, HoldsTheFolderThatItFoundWhereverThatIsMoved) {
  test::MakeDirs(At("a"));
  LocatedItem item;
  ASSERT_EQ(0, LocateItem(At("a/x"), LastLink::kLeave, &item));
  ASSERT_EQ(0, ::rename(At("a").c_str(), At("b").c_str()));
  test::MakeDirs(At("a"));
  EXPECT_TRUE(IsOn(item.folder, At("b")));
}

TEST_F(LocateItemTest, FollowsLinksAmongTheFoldersAbove) {
  test::MakeDirs(At("a/b/c"));
  test::MakeLink(At("relative"), "a/b");
  test::MakeLink(At("absolute"), At("a/b"));
  test::MakeLink(At("a/b/up"), "..");
  test::MakeLink(At("twice"), "relative/up/b/");
  test::MakeLink(At("here"), ".");
  test::MakeLink(At("top"), "/");
  const struct {
    std::string path;
    std::string folder;
  } rows[] = {
      {"relative/x", "a/b"},        {"absolute/x", "a/b"},         {"twice/x", "a/b"},
      {"relative/up/x", "a"},       {"relative/../x", "a"},        {"here/here/a/x", "a"},
      {"relative//c/./x", "a/b/c"}, {"top" + At("a") + "/x", "a"},
  };
  for (const LastLink lastLink : {LastLink::kLeave, LastLink::kFollow}) {
    for (const auto& row : rows) {
      SCOPED_TRACE(row.path);
      LocatedItem item;
      ASSERT_EQ(0, LocateItem(At(row.path), lastLink, &item));
      EXPECT_TRUE(IsOn(item.folder, At(row.folder)));
      EXPECT_EQ("x", item.name);
      EXPECT_FALSE(item.mustBeFolder);
      EXPECT_EQ(At(row.path), item.path);
    }
  }
}

TEST_F(LocateItemTest, LeavesTheLastLinkWithATrailingSlashToo) {
  test::MakeDirs(At("a"));
  test::MakeLink(At("link"), "a");
  for (const std::string path : {"link", "link/", "link//"}) {
    SCOPED_TRACE(path);
    LocatedItem item;
    ASSERT_EQ(0, LocateItem(At(path), LastLink::kLeave, &item));
    EXPECT_TRUE(IsOn(item.folder, dir_.Path()));
    EXPECT_EQ("link", item.name);
    EXPECT_EQ(path != "link", item.mustBeFolder);
    EXPECT_EQ(At(path), item.path);
  }
}

TEST_F(LocateItemTest, FollowsALinkBeforeATrailingDot) {
  test::MakeDirs(At("a"));
  test::MakeLink(At("link"), "a");
  LocatedItem item;
  ASSERT_EQ(0, LocateItem(At("link/."), LastLink::kLeave, &item));
  EXPECT_TRUE(IsOn(item.folder, At("a")));
  EXPECT_EQ(".", item.name);
  EXPECT_EQ(At("link/."), item.path);
}

TEST_F(LocateItemTest, FollowsTheLastLinkAndTellsAPathWithoutIt) {
  test::PutFile(At("a/b/file"), "x");
  test::MakeLink(At("relative"), "a/b/file");
  test::MakeLink(At("absolute"), At("a/b/file"));
  test::MakeLink(At("a/up"), "../relative");
  test::MakeLink(At("chain"), "a/up");
  test::MakeLink(At("throughLink"), "folder/file");
  test::MakeLink(At("folder"), "a/b");
  test::MakeLink(At("folderSlash"), "folder/");
  test::MakeLink(At("folderDot"), "a/b/.");
  test::MakeLink(At("parent"), "..");
  test::MakeLink(At("dangling"), "a/missing");
  test::MakeLink(At("danglingAbsolute"), At("missing"));
  const struct {
    std::string path;
    std::string folder;
    std::string name;
    bool mustBeFolder;
    std::string result;
  } rows[] = {
      {At("relative"), At("a/b"), "file", false, At("a/b/file")},
      {At("absolute"), At("a/b"), "file", false, At("a/b/file")},
      {At("chain"), At("a/b"), "file", false, At("a/../a/b/file")},
      {At("folder/../up"), At("a/b"), "file", false, At("folder/../../a/b/file")},
      {At("throughLink"), At("a/b"), "file", false, At("folder/file")},
      {At("folder"), At("a"), "b", false, At("a/b")},
      {At("folder/"), At("a"), "b", true, At("a/b/")},
      {At("folderSlash"), At("a"), "b", true, At("a/b/")},
      {At("folderDot"), At("a/b"), ".", true, At("a/b/.")},
      {At("parent"), At(".."), ".", true, At("..")},
      {At("dangling"), At("a"), "missing", false, At("a/missing")},
      {At("dangling/"), At("a"), "missing", true, At("a/missing/")},
      {At("danglingAbsolute"), dir_.Path(), "missing", false, At("missing")},
      {At("danglingAbsolute/"), dir_.Path(), "missing", true, At("missing/")},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    LocatedItem item;
    ASSERT_EQ(0, LocateItem(row.path, LastLink::kFollow, &item));
    EXPECT_TRUE(IsOn(item.folder, row.folder));
    EXPECT_EQ(row.name, item.name);
    EXPECT_EQ(row.mustBeFolder, item.mustBeFolder);
    EXPECT_EQ(row.result, item.path);
  }
}

TEST_F(LocateItemTest, FollowsFortyLinksAndNoMore) {
  test::MakeDirs(At("a"));
  MakeChain(41, "a");
  LocatedItem item;
  EXPECT_EQ(ELOOP, LocateItem(At("l1"), LastLink::kFollow, &item));
  EXPECT_EQ(ELOOP, LocateItem(At("l1/x"), LastLink::kLeave, &item));
  ASSERT_EQ(0, LocateItem(At("l2"), LastLink::kFollow, &item));
  EXPECT_EQ("a", item.name);
  ASSERT_EQ(0, LocateItem(At("l2/x"), LastLink::kLeave, &item));
  EXPECT_TRUE(IsOn(item.folder, At("a")));
}

TEST_F(LocateItemTest, CountsTheLinksOfTheWholePath) {
  test::MakeLink(At("here"), ".");
  LocatedItem item;
  EXPECT_EQ(0, LocateItem(At(Times(40, "here/") + "x"), LastLink::kFollow, &item));
  EXPECT_EQ(ELOOP, LocateItem(At(Times(41, "here/") + "x"), LastLink::kFollow, &item));
}

TEST_F(LocateItemTest, NeedsTheRightToSearchAndNotToRead) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::PutFile(At("search/only/file"), "x");
  test::SetMode(At("search"), 0711);
  test::MakeDirs(At("closed/inner"));
  test::SetMode(At("closed"), 0744);
  test::RunInChild([&] {
    ASSERT_EQ(0, ::seteuid(kUser));
    LocatedItem item;
    EXPECT_EQ(0, LocateItem(At("search/only/file"), LastLink::kFollow, &item));
    EXPECT_EQ(EACCES, LocateItem(At("closed/inner/x"), LastLink::kFollow, &item));
    EXPECT_EQ(EACCES, LocateItem(At("closed/inner"), LastLink::kFollow, &item));
    EXPECT_EQ(EACCES, LocateItem(At("closed/."), LastLink::kLeave, &item));
  });
}

// Rows for a process whose effective user is root: `u...` belongs to kUser, `o...` to kOther,
// `r...` to root.
class OwnerRuleTest : public PathWalkTest {
 protected:
  void SetUp() override {
    if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
    MakeOwnedFolder("u", kUser);
    MakeOwnedFolder("u/inner", kUser);
    MakeOwnedFolder("o", kOther);
    MakeOwnedFolder("r", 0);
    PutOwnedFile("u/uFile", kUser);
    PutOwnedFile("u/rFile", 0);
    PutOwnedFile("r/uFile", kUser);
    MakeOwnedFolder("u/rFolder", 0);
  }
};

TEST_F(OwnerRuleTest, HoldsForLinksAmongTheFoldersAbove) {
  const struct {
    const char* description;
    uid_t linkOwner;
    std::string text;
    int error;
  } rows[] = {
      {"root's link to a user's folder", 0, "u", 0},
      {"user's link to his folder", kUser, "u", 0},
      {"user's link to his folder, absolute", kUser, At("u"), 0},
      {"user's link to his folder, with a slash", kUser, "u/", 0},
      {"user's link to his folder by way of root's", kUser, "r/../u/inner/..", 0},
      {"user's link to root's folder", kUser, "r", EACCES},
      {"user's link to root's folder, absolute", kUser, At("r"), EACCES},
      {"user's link to root's folder in his own", kUser, "u/rFolder", EACCES},
      {"user's link to root's folder by way of his own", kUser, "u/..", EACCES},
      {"user's link to the top", kUser, "/", EACCES},
      {"user's link to another user's folder", kUser, "o", EACCES},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.description);
    MakeOwnedLink("link", row.text, row.linkOwner);
    for (const LastLink lastLink : {LastLink::kLeave, LastLink::kFollow}) {
      LocatedItem item;
      EXPECT_EQ(row.error, LocateItem(At("link/x"), lastLink, &item));
      EXPECT_EQ(row.error, LocateItem(At("link/."), lastLink, &item));
    }
    ASSERT_EQ(0, ::unlink(At("link").c_str()));
  }
}

TEST_F(OwnerRuleTest, HoldsForTheLastLink) {
  const struct {
    const char* description;
    uid_t linkOwner;
    std::string text;
    int error;
  } rows[] = {
      {"root's link to a user's file", 0, "u/uFile", 0},
      {"user's link to his file", kUser, "u/uFile", 0},
      {"user's link to his file in root's folder", kUser, "r/uFile", 0},
      {"user's link to root's file in his folder", kUser, "u/rFile", EACCES},
      {"user's link to his folder", kUser, "u", 0},
      {"user's link to root's folder", kUser, "r", EACCES},
      {"other's link to a user's file", kOther, "u/uFile", EACCES},
      {"user's link to nothing in his folder", kUser, "u/missing", 0},
      {"user's link to nothing in his folder, absolute", kUser, At("u/missing"), 0},
      {"user's link to nothing in root's folder", kUser, "r/missing", EACCES},
      {"user's link to nothing beside it", kUser, "missing", EACCES},
      {"user's link to nothing at the top", kUser, "/missing-at-the-top", EACCES},
      {"root's link to nothing in a user's folder", 0, "u/missing", 0},
      {"user's link to the folder itself", kUser, "u/.", 0},
      {"user's link to root's folder itself", kUser, "u/rFolder/.", EACCES},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.description);
    MakeOwnedLink("link", row.text, row.linkOwner);
    LocatedItem item;
    EXPECT_EQ(row.error, LocateItem(At("link"), LastLink::kFollow, &item));
    EXPECT_EQ(0, LocateItem(At("link"), LastLink::kLeave, &item));
    EXPECT_EQ("link", item.name);
    ASSERT_EQ(0, ::unlink(At("link").c_str()));
  }
}

TEST_F(OwnerRuleTest, AsksOfEveryLinkOfAChainWhatItLeadsToInTheEnd) {
  const struct {
    const char* description;
    std::vector<uid_t> owners;  // of "l1", which leads to "l2" and so on
    std::string text;           // of the last
    int error;
  } rows[] = {
      {"all the user's, to his folder", {kUser, kUser, kUser}, "u", 0},
      {"user's, by way of root's, to his folder", {kUser, 0, kUser}, "u", 0},
      {"user's, by way of root's, to root's folder", {kUser, 0}, "r", EACCES},
      {"root's, by way of a user's, to root's folder", {0, kUser}, "r", EACCES},
      {"root's, by way of a user's, to his folder", {0, kUser}, "u", 0},
      {"user's, by way of another's, to the other's folder", {kUser, kOther}, "o", EACCES},
      {"user's, by way of another's, to his own folder", {kUser, kOther}, "u", EACCES},
      {"user's, by way of root's, to nothing in his folder", {kUser, 0}, "u/missing", 0},
      {"user's, by way of root's, to nothing in root's folder", {kUser, 0}, "r/missing", EACCES},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.description);
    MakeChain(static_cast<int>(row.owners.size()), row.text);
    for (std::size_t i = 0; i < row.owners.size(); ++i) {
      test::SetOwner(At("l" + std::to_string(i + 1)), row.owners[i], row.owners[i]);
    }
    LocatedItem item;
    EXPECT_EQ(row.error, LocateItem(At("l1"), LastLink::kFollow, &item));
    for (std::size_t i = 0; i < row.owners.size(); ++i) {
      ASSERT_EQ(0, ::unlink(At("l" + std::to_string(i + 1)).c_str()));
    }
  }
}

TEST_F(OwnerRuleTest, HoldsForLinksInTheTextOfALink) {
  MakeOwnedLink("u/toInner", "inner", kUser);
  MakeOwnedLink("u/toRoots", "../r", kUser);
  MakeOwnedLink("good", "u/toInner/../toInner/file", kUser);
  MakeOwnedLink("roots", "u/toRoots/uFile", 0);
  MakeOwnedLink("mixed", "u/toInner/rFile", kUser);
  PutOwnedFile("u/inner/file", kUser);
  PutOwnedFile("u/inner/rFile", 0);
  LocatedItem item;
  EXPECT_EQ(0, LocateItem(At("good"), LastLink::kFollow, &item));
  EXPECT_TRUE(IsOn(item.folder, At("u/inner")));
  // The link in the middle is the user's and leads to root's folder, though what is in there
  // is his.
  EXPECT_EQ(EACCES, LocateItem(At("roots"), LastLink::kFollow, &item));
  EXPECT_EQ(EACCES, LocateItem(At("mixed"), LastLink::kFollow, &item));
}

TEST_F(OwnerRuleTest, ChecksALinkAgainWhereTheWalkGoesOnBehindIt) {
  MakeOwnedLink("first", "u", kUser);
  MakeOwnedLink("u/second", "../r", kUser);
  LocatedItem item;
  EXPECT_EQ(0, LocateItem(At("first/inner/x"), LastLink::kFollow, &item));
  EXPECT_EQ(EACCES, LocateItem(At("first/second/x"), LastLink::kFollow, &item));
}

TEST_F(OwnerRuleTest, LetsAUserFollowHisOwnLinksAndRoots) {
  MakeOwnedLink("own", "r", kUser);
  MakeOwnedLink("ownDangling", "r/missing", kUser);
  MakeOwnedLink("roots", "o", 0);
  MakeOwnedLink("othersToHis", "o", kOther);
  MakeOwnedLink("othersToRoots", "r", kOther);
  MakeOwnedLink("othersToMine", "u", kOther);
  test::RunInChild([&] {
    ASSERT_EQ(0, ::seteuid(kUser));
    LocatedItem item;
    EXPECT_EQ(0, LocateItem(At("own/x"), LastLink::kFollow, &item));
    EXPECT_EQ(0, LocateItem(At("ownDangling"), LastLink::kFollow, &item));
    EXPECT_EQ(0, LocateItem(At("roots/x"), LastLink::kFollow, &item));
    EXPECT_EQ(0, LocateItem(At("othersToHis/x"), LastLink::kFollow, &item));
    EXPECT_EQ(EACCES, LocateItem(At("othersToRoots/x"), LastLink::kFollow, &item));
    EXPECT_EQ(EACCES, LocateItem(At("othersToMine/x"), LastLink::kFollow, &item));
  });
}

TEST_F(OwnerRuleTest, HoldsForTheAncestorsOfAFolderThatIsOpenedItself) {
  MakeOwnedLink("good", "u", kUser);
  MakeOwnedLink("bad", "r", kUser);
  test::MakeDirs(At("r/inner"));
  UniqueFd folder;
  EXPECT_EQ(0, OpenFolderItself(At("good/inner"), &folder));
  EXPECT_TRUE(IsOn(folder, At("u/inner")));
  EXPECT_EQ(EACCES, OpenFolderItself(At("bad/inner"), &folder));
  EXPECT_TRUE(IsOn(folder, At("u/inner")));
}

TEST_F(OwnerRuleTest, HoldsForOpenFolderAndMakeFolder) {
  MakeOwnedLink("good", "u", kUser);
  MakeOwnedLink("bad", "r", kUser);
  UniqueFd folder;
  EXPECT_EQ(0, OpenFolder(At("good"), &folder));
  EXPECT_EQ(EACCES, OpenFolder(At("bad"), &folder));
  EXPECT_TRUE(IsOn(folder, At("u")));
  EXPECT_EQ(0, MakeFolder(At("good/new"), 0777));
  EXPECT_EQ(EACCES, MakeFolder(At("bad/new"), 0777));
  EXPECT_TRUE(test::IsThere(At("u/new")));
  EXPECT_FALSE(test::IsThere(At("r/new")));
}

using OpenFolderTest = PathWalkTest;

TEST_F(OpenFolderTest, OpensTheFolderThatThePathNames) {
  test::MakeDirs(At("a/b"));
  test::MakeLink(At("link"), "a");
  test::MakeLink(At("a/chain"), "../link/b/");
  const struct {
    std::string path;
    std::string folder;
  } rows[] = {
      {At("a"), At("a")},
      {At("a/"), At("a")},
      {At("a/b/.."), At("a")},
      {At("."), At("")},
      {At("link"), At("a")},
      {At("link/"), At("a")},
      {At("a/chain"), At("a/b")},
      {"/", "/"},
      {".", "."},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    UniqueFd folder;
    ASSERT_EQ(0, OpenFolder(row.path, &folder));
    EXPECT_TRUE(IsOn(folder, row.folder));
  }
}

TEST_F(OpenFolderTest, GivesADescriptorForTheAtCalls) {
  UniqueFd folder;
  ASSERT_EQ(0, OpenFolder(dir_.Path(), &folder));
  EXPECT_EQ(0, ::mkdirat(folder.Get(), "new", 0700));
  EXPECT_TRUE(test::IsThere(At("new")));
  EXPECT_EQ(FD_CLOEXEC, ::fcntl(folder.Get(), F_GETFD));
}

TEST_F(OpenFolderTest, FailsOnAnythingElseAndLeavesTheDescriptor) {
  test::PutFile(At("file"), "x");
  test::MakeFifo(At("fifo"));
  test::MakeLink(At("fileLink"), "file");
  test::MakeLink(At("dangling"), "missing");
  test::MakeLink(At("self"), "self");
  UniqueFd folder;
  ASSERT_EQ(0, OpenFolder(dir_.Path(), &folder));
  const int before = folder.Get();
  EXPECT_EQ(ENOTDIR, OpenFolder(At("file"), &folder));
  EXPECT_EQ(ENOTDIR, OpenFolder(At("fifo"), &folder));
  EXPECT_EQ(ENOTDIR, OpenFolder(At("fileLink"), &folder));
  EXPECT_EQ(ENOENT, OpenFolder(At("dangling"), &folder));
  EXPECT_EQ(ENOENT, OpenFolder(At("missing"), &folder));
  EXPECT_EQ(ELOOP, OpenFolder(At("self"), &folder));
  EXPECT_EQ(ENOENT, OpenFolder("", &folder));
  EXPECT_EQ(EINVAL, OpenFolder(std::string("/\0", 2), &folder));
  EXPECT_EQ(before, folder.Get());
}

using OpenFolderItselfTest = PathWalkTest;

TEST_F(OpenFolderItselfTest, OpensTheRealFolderAtThePath) {
  test::MakeDirs(At("a/b"));
  test::MakeLink(At("link"), "a");
  const struct {
    std::string path;
    std::string folder;
  } rows[] = {
      {At("a"), At("a")},
      {At("a/"), At("a")},
      {At("a/b/.."), At("a")},
      {At("."), At("")},
      {At("link/b"), At("a/b")},
      {At("link/../link/b/"), At("a/b")},
      {At("link/."), At("a")},
      {"/", "/"},
      {".", "."},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    UniqueFd folder;
    ASSERT_EQ(0, OpenFolderItself(row.path, &folder));
    EXPECT_TRUE(IsOn(folder, row.folder));
  }
}

TEST_F(OpenFolderItselfTest, GivesADescriptorThatChangesOwnerAndMode) {
  test::MakeDirs(At("a"));
  UniqueFd folder;
  ASSERT_EQ(0, OpenFolderItself(At("a"), &folder));
  EXPECT_EQ(0, ::fchmod(folder.Get(), 0711));
  EXPECT_EQ(static_cast<mode_t>(0711), test::GetMode(At("a")));
  EXPECT_EQ(0, ::fchown(folder.Get(), ::geteuid(), static_cast<gid_t>(-1)));
  EXPECT_EQ(0, ::fsync(folder.Get()));
  EXPECT_EQ(0, ::mkdirat(folder.Get(), "new", 0700));
  EXPECT_TRUE(test::IsThere(At("a/new")));
  EXPECT_EQ(FD_CLOEXEC, ::fcntl(folder.Get(), F_GETFD));
}

TEST_F(OpenFolderItselfTest, RefusesALinkInTheLastPlace) {
  test::MakeDirs(At("a"));
  test::PutFile(At("file"), "x");
  test::MakeLink(At("link"), "a");
  test::MakeLink(At("absolute"), At("a"));
  test::MakeLink(At("fileLink"), "file");
  test::MakeLink(At("dangling"), "missing");
  test::MakeLink(At("self"), "self");
  for (const std::string path :
       {"link", "link/", "link//", "absolute", "fileLink", "dangling", "dangling/", "self"}) {
    SCOPED_TRACE(path);
    UniqueFd folder;
    const int error = OpenFolderItself(At(path), &folder);
    EXPECT_TRUE(error == ELOOP || error == ENOTDIR) << error;
    EXPECT_FALSE(folder);
  }
}

TEST_F(OpenFolderItselfTest, FailsOnAnythingElseWithoutWaitingAndLeavesTheDescriptor) {
  test::PutFile(At("file"), "x");
  test::MakeFifo(At("fifo"));
  UniqueFd folder;
  ASSERT_EQ(0, OpenFolderItself(dir_.Path(), &folder));
  const int before = folder.Get();
  EXPECT_EQ(ENOTDIR, OpenFolderItself(At("file"), &folder));
  EXPECT_EQ(ENOTDIR, OpenFolderItself(At("file/x"), &folder));
  EXPECT_EQ(ENOTDIR, OpenFolderItself(At("fifo"), &folder));
  EXPECT_EQ(ENOENT, OpenFolderItself(At("missing"), &folder));
  EXPECT_EQ(ENOENT, OpenFolderItself(At("missing/x"), &folder));
  EXPECT_EQ(ENOENT, OpenFolderItself("", &folder));
  EXPECT_EQ(EINVAL, OpenFolderItself(std::string("/\0", 2), &folder));
  EXPECT_EQ(ENAMETOOLONG, OpenFolderItself(At(std::string(256, 'n')), &folder));
  EXPECT_EQ(before, folder.Get());
}

TEST_F(OpenFolderItselfTest, NeedsTheRightToRead) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::MakeDirs(At("searchOnly"));
  test::SetMode(At("searchOnly"), 0711);
  test::RunInChild([&] {
    ASSERT_EQ(0, ::seteuid(kUser));
    UniqueFd folder;
    EXPECT_EQ(EACCES, OpenFolderItself(At("searchOnly"), &folder));
    EXPECT_EQ(0, OpenFolder(At("searchOnly"), &folder));
  });
}

// For an ordinary user: root may open everything.
class OpenOwnFolderItselfTest : public PathWalkTest {
 protected:
  // Calls `body` as a user who may write to the temporary folder.
  void RunAsUser(const std::function<void()>& body) const {
    const bool isRoot = ::geteuid() == 0;
    if (isRoot) test::SetMode(dir_.Path(), 0777);
    test::RunInChild([&] {
      if (isRoot) {
        ASSERT_EQ(0, ::seteuid(kUser));
      }
      body();
    });
  }

  void SetUp() override {
    if (const std::string why = test::WhyNoRealRoot(); ::geteuid() == 0 && !why.empty()) {
      GTEST_SKIP() << why;
    }
  }
};

TEST_F(OpenOwnFolderItselfTest, OpensAFolderThatItsOwnerMayRead) {
  RunAsUser([&] {
    test::MakeDirs(At("a"));
    test::SetMode(At("a"), 0510);
    UniqueFd folder;
    ASSERT_EQ(0, OpenOwnFolderItself(At("a"), &folder));
    EXPECT_TRUE(IsOn(folder, At("a")));
    EXPECT_EQ(static_cast<mode_t>(0510), test::GetMode(At("a")));
  });
}

TEST_F(OpenOwnFolderItselfTest, OpensAFolderThatItsOwnerMayNotRead) {
  RunAsUser([&] {
    for (const mode_t mode : {mode_t{0375}, mode_t{0177}, mode_t{0277}, mode_t{0077}, mode_t{0}}) {
      SCOPED_TRACE(mode);
      test::MakeDirs(At("a"));
      test::SetMode(At("a"), mode);
      UniqueFd folder;
      ASSERT_EQ(0, OpenOwnFolderItself(At("a"), &folder));
      EXPECT_TRUE(IsOn(folder, At("a")));
      EXPECT_EQ(static_cast<mode_t>(0700), test::GetMode(At("a")));
      EXPECT_EQ(0, ::fchmod(folder.Get(), 0777));
      ASSERT_EQ(0, ::rmdir(At("a").c_str()));
    }
  });
}

TEST_F(OpenOwnFolderItselfTest, OpensAFolderThatItsOwnerMayOnlySearchByItsHandle) {
  RunAsUser([&] {
    test::MakeDirs(At("a"));
    test::SetMode(At("a"), 0375);
    ScopedSystemCalls calls;
    // By the name, as where glibc finds no /proc that it needs for that.
    calls->fchmodat = [](int parent, const char* name, mode_t mode, int flags) {
      if (flags == 0) return ::fchmodat(parent, name, mode, flags);
      errno = EOPNOTSUPP;
      return -1;
    };
    UniqueFd folder;
    EXPECT_EQ(0, OpenOwnFolderItself(At("a"), &folder));
    EXPECT_EQ(static_cast<mode_t>(0700), test::GetMode(At("a")));
  });
}

TEST_F(OpenOwnFolderItselfTest, FollowsNoLinkThatTakesTheFoldersPlace) {
  RunAsUser([&] {
    test::MakeDirs(At("a"));
    test::SetMode(At("a"), 0077);
    test::PutFile(At("canary"), "x");
    test::SetMode(At("canary"), 0604);
    static std::string place;
    static std::string canary;
    place = At("a");
    canary = At("canary");
    ScopedSystemCalls calls;
    calls->fchmodat = [](int parent, const char* name, mode_t mode, int flags) {
      if (name == std::string("a")) {
        EXPECT_EQ(0, ::rmdir(place.c_str()));
        test::MakeLink(place, canary);
      }
      return ::fchmodat(parent, name, mode, flags);
    };
    UniqueFd folder;
    EXPECT_EQ(EACCES, OpenOwnFolderItself(At("a"), &folder));
    EXPECT_FALSE(folder);
    EXPECT_EQ(canary, test::GetLink(At("a")));
    EXPECT_EQ(static_cast<mode_t>(0604), test::GetMode(At("canary")));
  });
}

TEST_F(OpenOwnFolderItselfTest, RefusesALinkAndWhatIsNoFolder) {
  test::MakeDirs(At("folder"));
  test::MakeLink(At("link"), "folder");
  test::PutFile(At("file"), "x");
  UniqueFd folder;
  const int error = OpenOwnFolderItself(At("link"), &folder);
  EXPECT_TRUE(error == ELOOP || error == ENOTDIR) << error;
  EXPECT_EQ(ENOTDIR, OpenOwnFolderItself(At("file"), &folder));
  EXPECT_EQ(ENOENT, OpenOwnFolderItself(At("missing"), &folder));
  EXPECT_FALSE(folder);
}

TEST_F(OpenOwnFolderItselfTest, LeavesAnothersFolderAlone) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::MakeDirs(At("roots"));
  test::SetMode(At("roots"), 0711);
  RunAsUser([&] {
    UniqueFd folder;
    EXPECT_EQ(EACCES, OpenOwnFolderItself(At("roots"), &folder));
    EXPECT_FALSE(folder);
  });
  EXPECT_EQ(static_cast<mode_t>(0711), test::GetMode(At("roots")));
}

using MakeFolderTest = PathWalkTest;

TEST_F(MakeFolderTest, MakesOneFolderWithTheModeLessTheUmask) {
  const test::ScopedUmask mask(027);
  ASSERT_EQ(0, MakeFolder(At("a"), 0777));
  EXPECT_EQ(static_cast<mode_t>(0750), test::GetMode(At("a")));
  ASSERT_EQ(0, MakeFolder(At("a/b/"), 0700));
  EXPECT_EQ(static_cast<mode_t>(0700), test::GetMode(At("a/b")));
}

TEST_F(MakeFolderTest, FailsWhereAnythingIsThere) {
  test::PutFile(At("file"), "x");
  test::MakeDirs(At("folder"));
  test::MakeLink(At("link"), "folder");
  test::MakeLink(At("dangling"), "missing");
  for (const std::string path :
       {"file", "folder", "folder/", "folder/.", "link", "dangling", "dangling/", "."}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(EEXIST, MakeFolder(At(path), 0777));
  }
  EXPECT_FALSE(test::IsThere(At("missing")));
}

TEST_F(MakeFolderTest, MakesNoFolderAbove) {
  test::PutFile(At("file"), "x");
  EXPECT_EQ(ENOENT, MakeFolder(At("missing/new"), 0777));
  EXPECT_EQ(ENOTDIR, MakeFolder(At("file/new"), 0777));
  EXPECT_EQ(ENAMETOOLONG, MakeFolder(At(std::string(256, 'n')), 0777));
  EXPECT_EQ(ENOENT, MakeFolder("", 0777));
  EXPECT_EQ(EINVAL, MakeFolder(At(std::string("new\0", 4)), 0777));
  EXPECT_FALSE(test::IsThere(At("missing")));
  EXPECT_FALSE(test::IsThere(At("new")));
}

}  // namespace

}  // namespace platform
