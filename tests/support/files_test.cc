#include "tests/support/files.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace {

mode_t CurrentUmask() {
  const mode_t mask = umask(0);
  umask(mask);
  return mask;
}

TEST(MakeDirs, MakesMissingParentsWithMode0755WhateverTheUmask) {
  const test::ScopedTempDir folder;
  const test::ScopedUmask mask(0077);
  test::MakeDirs(folder.Join("a/b/c"));
  EXPECT_EQ(test::GetMode(folder.Join("a")), 0755u);
  EXPECT_EQ(test::GetMode(folder.Join("a/b")), 0755u);
  EXPECT_EQ(test::GetMode(folder.Join("a/b/c")), 0755u);
}

TEST(MakeDirs, LeavesExistingFolderAsItIs) {
  const test::ScopedTempDir folder;
  test::MakeDirs(folder.Join("a"));
  test::SetMode(folder.Join("a"), 0700);
  test::MakeDirs(folder.Join("a"));
  test::MakeDirs(folder.Join("a/b"));
  EXPECT_EQ(test::GetMode(folder.Join("a")), 0700u);
}

TEST(MakeDirs, FailsTheTestWhereAFileIsInTheWay) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("a"), "");
  EXPECT_NONFATAL_FAILURE(test::MakeDirs(folder.Join("a")), "/a: File exists");
}

TEST(PutFile, WritesContentWithParentsAndMode0644WhateverTheUmask) {
  const test::ScopedTempDir folder;
  const test::ScopedUmask mask(0077);
  test::PutFile(folder.Join("a/b"), std::string("x\0y\n", 4));
  EXPECT_EQ(test::GetFile(folder.Join("a/b")), std::string("x\0y\n", 4));
  EXPECT_EQ(test::GetMode(folder.Join("a/b")), 0644u);
  EXPECT_EQ(test::GetMode(folder.Join("a")), 0755u);
}

TEST(PutFile, ReplacesContentAndMode) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("a"), "long content");
  test::SetMode(folder.Join("a"), 0600);
  test::PutFile(folder.Join("a"), "short");
  EXPECT_EQ(test::GetFile(folder.Join("a")), "short");
  EXPECT_EQ(test::GetMode(folder.Join("a")), 0644u);
}

TEST(PutFile, FailsTheTestWhereAFolderIsInTheWay) {
  const test::ScopedTempDir folder;
  EXPECT_NONFATAL_FAILURE(test::PutFile(folder.Path(), "x"), "Is a directory");
}

TEST(MakeLink, LinksToAnyText) {
  const test::ScopedTempDir folder;
  test::MakeLink(folder.Join("link"), "no/such item");
  EXPECT_EQ(test::GetLink(folder.Join("link")), "no/such item");
  EXPECT_TRUE(test::IsThere(folder.Join("link")));
}

TEST(MakeLink, FailsTheTestWhereSomethingIsInTheWay) {
  const test::ScopedTempDir folder;
  EXPECT_NONFATAL_FAILURE(test::MakeLink(folder.Path(), "x"), ": File exists");
}

TEST(MakeHardLink, GivesAFileASecondName) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("a"), "old");
  test::MakeHardLink(folder.Join("b"), folder.Join("a"));
  test::PutFile(folder.Join("a"), "new");
  EXPECT_EQ(test::GetFile(folder.Join("b")), "new");
}

TEST(MakeHardLink, FailsTheTestWithoutAFile) {
  const test::ScopedTempDir folder;
  EXPECT_NONFATAL_FAILURE(test::MakeHardLink(folder.Join("b"), folder.Join("a")),
                          "/b: No such file or directory");
}

TEST(MakeFifo, MakesAFifo) {
  const test::ScopedTempDir folder;
  test::MakeFifo(folder.Join("fifo"));
  struct stat item = {};
  ASSERT_EQ(lstat(folder.Join("fifo").c_str(), &item), 0);
  EXPECT_TRUE(S_ISFIFO(item.st_mode));
}

TEST(MakeFifo, FailsTheTestWhereSomethingIsInTheWay) {
  const test::ScopedTempDir folder;
  EXPECT_NONFATAL_FAILURE(test::MakeFifo(folder.Path()), ": File exists");
}

TEST(TakesAnyBytes, TellsWhatTheFolderDoesAndLeavesNothing) {
  const test::ScopedTempDir folder;
  const std::string path = folder.Join("\xff");
  const bool takes = test::TakesAnyBytes(folder.Path());
  EXPECT_FALSE(test::IsThere(path));
  EXPECT_EQ(takes, mkfifo(path.c_str(), 0600) == 0);
  EXPECT_FALSE(test::TakesAnyBytes(folder.Join("missing")));
}

TEST(SetMode, SetsAllTwelveBits) {
  const test::ScopedTempDir folder;
  for (const mode_t mode : {mode_t{0}, mode_t{0777}, mode_t{01751}}) {
    SCOPED_TRACE(mode);
    test::MakeDirs(folder.Join("a"));
    test::SetMode(folder.Join("a"), mode);
    EXPECT_EQ(test::GetMode(folder.Join("a")), mode);
  }
}

TEST(SetMode, FailsTheTestWithoutAnItem) {
  const test::ScopedTempDir folder;
  EXPECT_NONFATAL_FAILURE(test::SetMode(folder.Join("a"), 0644), "/a: No such file or directory");
}

TEST(SetOwner, SetsOwnerAndGroupOfALinkItself) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("a"), "");
  test::MakeLink(folder.Join("link"), "a");
  test::SetOwner(folder.Join("link"), 501, 20);
  EXPECT_EQ(test::GetOwner(folder.Join("link")), 501u);
  EXPECT_EQ(test::GetGroup(folder.Join("link")), 20u);
  EXPECT_EQ(test::GetOwner(folder.Join("a")), 0u);
  EXPECT_NE(test::GetGroup(folder.Join("a")), 20u);
}

TEST(SetOwner, FailsTheTestWithoutAnItem) {
  const test::ScopedTempDir folder;
  EXPECT_NONFATAL_FAILURE(test::SetOwner(folder.Join("a"), getuid(), getgid()),
                          "/a: No such file or directory");
}

TEST(GetFile, FollowsLinks) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("a"), "content");
  test::MakeLink(folder.Join("link"), "a");
  EXPECT_EQ(test::GetFile(folder.Join("link")), "content");
}

TEST(GetFile, ReadsMoreThanOneBufferful) {
  const test::ScopedTempDir folder;
  const std::string content(200001, 'x');
  test::PutFile(folder.Join("a"), content);
  EXPECT_TRUE(test::GetFile(folder.Join("a")) == content);
}

TEST(GetFile, HasNoValueForNoItemAndForFolder) {
  const test::ScopedTempDir folder;
  EXPECT_EQ(test::GetFile(folder.Join("a")), std::nullopt);
  EXPECT_EQ(test::GetFile(folder.Path()), std::nullopt);
}

TEST(GetFile, DoesNotWaitForAFifo) {
  const test::ScopedTempDir folder;
  test::MakeFifo(folder.Join("fifo"));
  EXPECT_EQ(test::GetFile(folder.Join("fifo")), "");
}

TEST(GetLink, HasNoValueForWhatIsNoLink) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("a"), "");
  EXPECT_EQ(test::GetLink(folder.Join("a")), std::nullopt);
  EXPECT_EQ(test::GetLink(folder.Join("b")), std::nullopt);
}

TEST(GetMode, AnswersForALinkItself) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("a"), "");
  test::SetMode(folder.Join("a"), 0);
  test::MakeLink(folder.Join("link"), "a");
  EXPECT_EQ(test::GetMode(folder.Join("a")), 0u);
  EXPECT_NE(test::GetMode(folder.Join("link")), 0u);
}

TEST(GetOwner, AnswersWithTheOwnUserForANewFile) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("a"), "");
  EXPECT_EQ(test::GetOwner(folder.Join("a")), geteuid());
}

TEST(GetMode, OwnerAndGroupHaveNoValueWithoutAnItem) {
  const test::ScopedTempDir folder;
  EXPECT_EQ(test::GetMode(folder.Join("a")), std::nullopt);
  EXPECT_EQ(test::GetOwner(folder.Join("a")), std::nullopt);
  EXPECT_EQ(test::GetGroup(folder.Join("a")), std::nullopt);
}

TEST(IsThere, SeesEverythingAndADanglingLinkToo) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("a"), "");
  test::MakeLink(folder.Join("link"), "no such item");
  EXPECT_TRUE(test::IsThere(folder.Path()));
  EXPECT_TRUE(test::IsThere(folder.Join("a")));
  EXPECT_TRUE(test::IsThere(folder.Join("link")));
  EXPECT_FALSE(test::IsThere(folder.Join("b")));
}

TEST(ScopedUmask, SetsTheUmaskAndPutsTheOldOneBack) {
  const mode_t before = CurrentUmask();
  {
    const test::ScopedUmask outer(0027);
    EXPECT_EQ(CurrentUmask(), 0027u);
    {
      const test::ScopedUmask inner(0);
      EXPECT_EQ(CurrentUmask(), 0u);
    }
    EXPECT_EQ(CurrentUmask(), 0027u);
  }
  EXPECT_EQ(CurrentUmask(), before);
}

}  // namespace
