#include "fileutils/write_file.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "platform/system_calls_for_testing.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"
#include "tests/support/tree.h"

namespace {

using namespace std::string_literals;
using Lines = std::vector<std::string>;

enum Check : bool { kChecked = false, kSkipped = true };

bool Write(const std::string& path, const std::string& content, Check skipLinkCheck) {
  return fileutils::WriteFile(path, content, /*unusedFlag=*/false, skipLinkCheck);
}

constexpr Check kBoth[] = {kChecked, kSkipped};

TEST(WriteFile, WritesEveryByte) {
  const test::ScopedTempDir folder;
  for (const Check check : kBoth) {
    SCOPED_TRACE(check);
    for (const std::string& content : {"text\n"s, "a\0b\0"s, std::string(100000, '\xff')}) {
      EXPECT_TRUE(Write(folder.Join("file"), content, check));
      EXPECT_EQ(test::GetFile(folder.Join("file")), content);
    }
  }
}

TEST(WriteFile, ReplacesNoFifo) {
  const test::ScopedTempDir folder;
  test::MakeFifo(folder.Join("fifo"));
  test::MakeLink(folder.Join("link"), "fifo");
  const test::Tree before = test::ReadTree(folder.Path());
  EXPECT_FALSE(Write(folder.Join("fifo"), "x", kChecked));
  EXPECT_FALSE(Write(folder.Join("fifo"), "x", kSkipped));
  EXPECT_FALSE(Write(folder.Join("link"), "x", kSkipped));
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(folder.Path())), Lines{});
}

TEST(WriteFile, FailsOnAnEmptyPath) {
  for (const Check check : kBoth) {
    SCOPED_TRACE(check);
    EXPECT_FALSE(Write("", "x", check));
  }
}

TEST(WriteFile, WritesAnEmptyFileForEmptyContent) {
  const test::ScopedTempDir folder;
  for (const Check check : kBoth) {
    SCOPED_TRACE(check);
    test::PutFile(folder.Join("file"), "old");
    EXPECT_TRUE(Write(folder.Join("file"), "", check));
    EXPECT_EQ(test::GetFile(folder.Join("file")), "");
  }
}

TEST(WriteFile, GivesANewFileTheDefaultModeAndKeepsThatOfAReplacedOne) {
  const test::ScopedTempDir folder;
  const test::ScopedUmask umask(027);
  for (const Check check : kBoth) {
    SCOPED_TRACE(check);
    const std::string path = folder.Join(check == kSkipped ? "skipped" : "checked");
    EXPECT_TRUE(Write(path, "new", check));
    EXPECT_EQ(test::GetMode(path), 0640U);
    test::SetMode(path, 0604);
    EXPECT_TRUE(Write(path, "newer", check));
    EXPECT_EQ(test::GetMode(path), 0604U);
  }
}

TEST(WriteFile, LeavesNothingBesideTheFile) {
  const test::ScopedTempDir folder;
  const test::Tree before = test::ReadTree(folder.Path());
  EXPECT_TRUE(Write(folder.Join("file"), "x", kChecked));
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(folder.Path())), Lines{"+ file"});
}

TEST(WriteFile, LeavesTheOldBytesToTheOtherNamesOfAFile) {
  const test::ScopedTempDir folder;
  for (const Check check : kBoth) {
    SCOPED_TRACE(check);
    const std::string path = folder.Join(check == kSkipped ? "skipped" : "checked");
    test::PutFile(path, "old");
    test::MakeHardLink(path + "2", path);
    EXPECT_TRUE(Write(path, "new", check));
    EXPECT_EQ(test::GetFile(path), "new");
    EXPECT_EQ(test::GetFile(path + "2"), "old");
  }
}

TEST(WriteFile, ReplacesALinkByAPlainFileWithTheCheckOn) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("target"), "old");
  test::MakeLink(folder.Join("link"), "target");
  EXPECT_TRUE(Write(folder.Join("link"), "new", kChecked));
  EXPECT_EQ(test::GetLink(folder.Join("link")), std::nullopt);
  EXPECT_EQ(test::GetFile(folder.Join("link")), "new");
  EXPECT_EQ(test::GetFile(folder.Join("target")), "old");
}

TEST(WriteFile, ReplacesADanglingLinkByAPlainFileWithTheCheckOn) {
  const test::ScopedTempDir folder;
  test::MakeLink(folder.Join("link"), "nothing");
  EXPECT_TRUE(Write(folder.Join("link"), "new", kChecked));
  EXPECT_EQ(test::GetLink(folder.Join("link")), std::nullopt);
  EXPECT_EQ(test::GetFile(folder.Join("link")), "new");
  EXPECT_FALSE(test::IsThere(folder.Join("nothing")));
}

TEST(WriteFile, ReplacesALinkToAFolderByAPlainFileWithTheCheckOn) {
  const test::ScopedTempDir folder;
  test::MakeDirs(folder.Join("target"));
  test::MakeLink(folder.Join("link"), "target");
  EXPECT_TRUE(Write(folder.Join("link"), "new", kChecked));
  EXPECT_EQ(test::GetFile(folder.Join("link")), "new");
  EXPECT_TRUE(test::IsThere(folder.Join("target")));
}

TEST(WriteFile, FailsWhereALinkCannotBeRemoved) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("target"), "old");
  test::MakeLink(folder.Join("link"), "target");
  platform::ScopedSystemCalls calls;
  calls->unlinkat = [](int, const char*, int) {
    errno = EIO;
    return -1;
  };
  EXPECT_FALSE(Write(folder.Join("link"), "new", kChecked));
  EXPECT_EQ(test::GetLink(folder.Join("link")), "target");
  EXPECT_EQ(test::GetFile(folder.Join("target")), "old");
}

TEST(WriteFile, RemovesNoLinkInAFolderThatAnothersLinkLeadsTo) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("real/file"), "old");
  test::MakeLink(folder.Join("real/link"), "file");
  test::MakeLink(folder.Join("his"), "real");
  test::SetOwner(folder.Join("his"), 501, 20);
  EXPECT_FALSE(Write(folder.Join("his/link"), "new", kChecked));
  EXPECT_EQ(test::GetLink(folder.Join("real/link")), "file");
  EXPECT_EQ(test::GetFile(folder.Join("real/file")), "old");
}

TEST(WriteFile, WritesThroughALinkWithTheCheckSkipped) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("sub/target"), "old");
  test::SetMode(folder.Join("sub/target"), 0604);
  test::MakeLink(folder.Join("relative"), "sub/target");
  test::MakeLink(folder.Join("absolute"), folder.Join("sub/target"));
  test::MakeLink(folder.Join("twice"), "relative");
  for (const std::string name : {"relative", "absolute", "twice"}) {
    SCOPED_TRACE(name);
    EXPECT_TRUE(Write(folder.Join(name), "by " + name, kSkipped));
    EXPECT_NE(test::GetLink(folder.Join(name)), std::nullopt);
    EXPECT_EQ(test::GetFile(folder.Join("sub/target")), "by " + name);
    EXPECT_EQ(test::GetMode(folder.Join("sub/target")), 0604U);
    EXPECT_EQ(test::GetLink(folder.Join("sub/target")), std::nullopt);
  }
}

TEST(WriteFile, MakesTheTargetOfADanglingLinkWithTheCheckSkipped) {
  const test::ScopedTempDir folder;
  test::MakeDirs(folder.Join("sub"));
  test::MakeLink(folder.Join("link"), "sub/new");
  EXPECT_TRUE(Write(folder.Join("link"), "new", kSkipped));
  EXPECT_EQ(test::GetLink(folder.Join("link")), "sub/new");
  EXPECT_EQ(test::GetFile(folder.Join("sub/new")), "new");
}

TEST(WriteFile, FailsThroughALinkThatLeadsToNoPlaceForAFile) {
  const test::ScopedTempDir folder;
  test::MakeDirs(folder.Join("sub"));
  test::MakeLink(folder.Join("toFolder"), "sub");
  test::MakeLink(folder.Join("toFolderBySlash"), "new/");
  test::MakeLink(folder.Join("toMissing"), "missing/new");
  test::MakeLink(folder.Join("loop"), "loop");
  const test::Tree before = test::ReadTree(folder.Path());
  for (const char* name : {"toFolder", "toFolderBySlash", "toMissing", "loop"}) {
    SCOPED_TRACE(name);
    EXPECT_FALSE(Write(folder.Join(name), "x", kSkipped));
  }
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(folder.Path())), Lines{});
}

TEST(WriteFile, FailsBelowALinkedFolderWithTheCheckOn) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("real/file"), "old");
  test::MakeLink(folder.Join("link"), "real");
  const test::Tree before = test::ReadTree(folder.Path());
  EXPECT_FALSE(Write(folder.Join("link/file"), "new", kChecked));
  EXPECT_FALSE(Write(folder.Join("link/missing"), "new", kChecked));
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(folder.Path())), Lines{});
}

TEST(WriteFile, WritesBelowALinkedFolderWithTheCheckSkipped) {
  const test::ScopedTempDir folder;
  test::MakeDirs(folder.Join("real"));
  test::MakeLink(folder.Join("link"), "real");
  EXPECT_TRUE(Write(folder.Join("link/file"), "new", kSkipped));
  EXPECT_EQ(test::GetFile(folder.Join("real/file")), "new");
}

TEST(WriteFile, ExemptsVarAloneFromTheCheck) {
  if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  test::RunInRoot(root.Path(), [] {
    test::MakeDirs("/private/var/folders");
    test::MakeDirs("/private/tmp");
    test::MakeLink("/var", "private/var");
    test::MakeLink("/tmp", "private/tmp");
    EXPECT_TRUE(Write("/var/folders/file", "x", kChecked));
    EXPECT_EQ(test::GetFile("/private/var/folders/file"), "x");
    EXPECT_FALSE(Write("/tmp/file", "x", kChecked));
    EXPECT_FALSE(test::IsThere("/private/tmp/file"));
  });
}

TEST(WriteFile, FailsWhereNoFileCanBe) {
  const test::ScopedTempDir folder;
  test::MakeDirs(folder.Join("folder"));
  const test::Tree before = test::ReadTree(folder.Path());
  for (const Check check : kBoth) {
    for (const char* name : {"folder", "folder/", "new/", "missing/new"}) {
      SCOPED_TRACE(std::string(name) + (check == kSkipped ? " skipped" : " checked"));
      EXPECT_FALSE(Write(folder.Join(name), "x", check));
    }
  }
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(folder.Path())), Lines{});
}

TEST(WriteFile, DoesTheSameWhateverTheUnusedFlag) {
  const test::ScopedTempDir folder;
  EXPECT_TRUE(fileutils::WriteFile(folder.Join("file"), "x", /*unusedFlag=*/true,
                                   /*skipLinkCheck=*/true));
  EXPECT_EQ(test::GetFile(folder.Join("file")), "x");
  EXPECT_FALSE(fileutils::WriteFile("", "x", /*unusedFlag=*/true, /*skipLinkCheck=*/true));
}

TEST(WriteFile, NeverTakesAPathWithANulByteForAShorterOne) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("file"), "old");
  test::MakeLink(folder.Join("link"), "file");
  const test::Tree before = test::ReadTree(folder.Path());
  for (const Check check : kBoth) {
    SCOPED_TRACE(check);
    EXPECT_FALSE(Write(folder.Join("file\0x"s), "new", check));
    EXPECT_FALSE(Write(folder.Join("link\0x"s), "new", check));
  }
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(folder.Path())), Lines{});
}

TEST(WriteFile, FollowsAnothersLinkOnlyToWhatIsHis) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("his"), "old");
  test::PutFile(folder.Join("roots"), "old");
  test::MakeDirs(folder.Join("hisFolder"));
  for (const std::string name : {"his", "roots", "hisFolder"}) {
    test::MakeLink(folder.Join(name + "Link"), name);
    test::SetOwner(folder.Join(name + "Link"), 501, 20);
  }
  test::SetOwner(folder.Join("his"), 501, 20);
  EXPECT_TRUE(Write(folder.Join("hisLink"), "new", kSkipped));
  EXPECT_EQ(test::GetFile(folder.Join("his")), "new");
  EXPECT_FALSE(Write(folder.Join("rootsLink"), "new", kSkipped));
  EXPECT_EQ(test::GetFile(folder.Join("roots")), "old");
  EXPECT_FALSE(Write(folder.Join("hisFolderLink/file"), "new", kSkipped));
  test::SetOwner(folder.Join("hisFolder"), 501, 20);
  EXPECT_TRUE(Write(folder.Join("hisFolderLink/file"), "new", kSkipped));
  EXPECT_EQ(test::GetFile(folder.Join("hisFolder/file")), "new");
}

TEST(WriteFile, MakesTheTargetOfAnothersDanglingLinkOnlyInAFolderOfHis) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir folder;
  test::MakeDirs(folder.Join("sub"));
  test::MakeLink(folder.Join("link"), "sub/new");
  test::SetOwner(folder.Join("link"), 501, 20);
  EXPECT_FALSE(Write(folder.Join("link"), "new", kSkipped));
  EXPECT_FALSE(test::IsThere(folder.Join("sub/new")));
  test::SetOwner(folder.Join("sub"), 501, 20);
  EXPECT_TRUE(Write(folder.Join("link"), "new", kSkipped));
  EXPECT_EQ(test::GetFile(folder.Join("sub/new")), "new");
}

TEST(WriteFile, RemovesAnothersLinkWithTheCheckOn) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("roots"), "old");
  test::MakeLink(folder.Join("link"), "roots");
  test::SetOwner(folder.Join("link"), 501, 20);
  EXPECT_TRUE(Write(folder.Join("link"), "new", kChecked));
  EXPECT_EQ(test::GetLink(folder.Join("link")), std::nullopt);
  EXPECT_EQ(test::GetFile(folder.Join("link")), "new");
  EXPECT_EQ(test::GetFile(folder.Join("roots")), "old");
}

}  // namespace
