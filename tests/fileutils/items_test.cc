#include "fileutils/items.h"

#include <cerrno>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>

#include "platform/system_calls_for_testing.h"
#include "tests/support/files.h"
#include "tests/support/known_faults.h"
#include "tests/support/scoped_temp_dir.h"

namespace {

using namespace std::string_literals;

// A folder with one item of each sort.
struct Items {
  test::ScopedTempDir folder;
  Items() {
    test::PutFile(folder.Join("file"), "12345");
    test::MakeDirs(folder.Join("folder"));
    test::MakeFifo(folder.Join("fifo"));
    test::MakeLink(folder.Join("linkToFile"), "file");
    test::MakeLink(folder.Join("linkToFolder"), "folder");
    test::MakeLink(folder.Join("dangling"), "nothing");
    test::MakeLink(folder.Join("loop"), "loop");
  }
};

constexpr struct {
  const char* name;
  bool exists;
  bool isFolder;
} kItems[] = {
    {"file", true, false},        {"folder", true, true},       {"fifo", true, false},
    {"linkToFile", true, false},  {"linkToFolder", true, true}, {"dangling", false, false},
    {"loop", false, false},       {"missing", false, false},    {"file/", false, false},
    {"file/below", false, false}, {"folder/", true, true},
};

TEST(PathExists, FollowsLinks) {
  const Items items;
  for (const auto& row : kItems) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(fileutils::PathExists(items.folder.Join(row.name)), row.exists);
  }
}

TEST(PathExists, IsFalseForADanglingLink) {
  const Items items;
  EXPECT_FALSE(fileutils::PathExists(items.folder.Join("dangling")));
}

TEST(PathExists, IsFalseForAnEmptyPath) {
  EXPECT_FALSE(fileutils::PathExists(""));
  bool isDirectory = true;
  EXPECT_FALSE(fileutils::PathExists("", isDirectory));
  EXPECT_FALSE(isDirectory);
}

TEST(PathExists, TellsFoldersAndClearsTheFlagWhereNothingIs) {
  const Items items;
  for (const auto& row : kItems) {
    SCOPED_TRACE(row.name);
    for (const bool before : {false, true}) {
      bool isDirectory = before;
      EXPECT_EQ(fileutils::PathExists(items.folder.Join(row.name), isDirectory), row.exists);
      EXPECT_EQ(isDirectory, row.isFolder);
    }
  }
}

TEST(IsExistingFile, IsTrueForWhatExistsAndIsNoFolder) {
  const Items items;
  for (const auto& row : kItems) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(fileutils::IsExistingFile(items.folder.Join(row.name)), row.exists && !row.isFolder);
  }
}

TEST(IsExistingDirectory, IsTrueForFolders) {
  const Items items;
  for (const auto& row : kItems) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(fileutils::IsExistingDirectory(items.folder.Join(row.name)), row.isFolder);
  }
}

TEST(GetFileSize, CountsTheBytesOfTheItemItself) {
  const Items items;
  std::uint64_t size = 0;
  EXPECT_TRUE(fileutils::GetFileSize(items.folder.Join("file"), size));
  EXPECT_EQ(size, 5U);
  EXPECT_TRUE(fileutils::GetFileSize(items.folder.Join("linkToFile"), size));
  EXPECT_EQ(size, 4U);
  EXPECT_TRUE(fileutils::GetFileSize(items.folder.Join("dangling"), size));
  EXPECT_EQ(size, 7U);
}

TEST(GetFileSize, FailsWhereNothingIs) {
  const Items items;
  std::uint64_t size = 99;
  EXPECT_FALSE(fileutils::GetFileSize(items.folder.Join("missing"), size));
  EXPECT_FALSE(fileutils::GetFileSize("", size));
  EXPECT_EQ(size, 99U);
}

TEST(CreateDirectoryWithIntermediates, MakesMissingParentsWithTheDefaultMode) {
  const test::ScopedTempDir folder;
  const test::ScopedUmask umask(027);
  EXPECT_TRUE(fileutils::CreateDirectoryWithIntermediates(folder.Join("a/b/c")));
  for (const char* made : {"a", "a/b", "a/b/c"}) {
    SCOPED_TRACE(made);
    EXPECT_EQ(test::GetMode(folder.Join(made)), 0750U);
  }
}

TEST(CreateDirectoryWithIntermediates, SucceedsOnAFolderAndOnALinkToOne) {
  const Items items;
  EXPECT_TRUE(fileutils::CreateDirectoryWithIntermediates(items.folder.Join("folder")));
  EXPECT_TRUE(fileutils::CreateDirectoryWithIntermediates(items.folder.Join("linkToFolder")));
}

TEST(CreateDirectoryWithIntermediates, FailsWhereAnythingElseIsInTheWay) {
  const Items items;
  for (const char* name : {"dangling", "file/below"}) {
    SCOPED_TRACE(name);
    EXPECT_FALSE(fileutils::CreateDirectoryWithIntermediates(items.folder.Join(name)));
  }
  if (!test::HasFault(test::Fault::kTakesAnythingForAFolder)) {
    EXPECT_FALSE(fileutils::CreateDirectoryWithIntermediates(items.folder.Join("file")));
  }
  EXPECT_FALSE(test::IsThere(items.folder.Join("nothing")));
}

TEST(DeletePath, RemovesAFileAnEmptyFolderAndAFifo) {
  const Items items;
  for (const char* name : {"file", "folder", "fifo"}) {
    SCOPED_TRACE(name);
    EXPECT_TRUE(fileutils::DeletePath(items.folder.Join(name), /*unusedFlag=*/false));
    EXPECT_FALSE(test::IsThere(items.folder.Join(name)));
  }
}

TEST(DeletePath, RemovesALinkAndNotWhatItLeadsTo) {
  const Items items;
  for (const char* name : {"linkToFile", "linkToFolder"}) {
    SCOPED_TRACE(name);
    EXPECT_TRUE(fileutils::DeletePath(items.folder.Join(name), /*unusedFlag=*/false));
    EXPECT_FALSE(test::IsThere(items.folder.Join(name)));
  }
  EXPECT_EQ(test::GetFile(items.folder.Join("file")), "12345");
  EXPECT_TRUE(test::IsThere(items.folder.Join("folder")));
}

TEST(DeletePath, RemovesOneNameOfAFile) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("file"), "x");
  test::MakeHardLink(folder.Join("name"), folder.Join("file"));
  EXPECT_TRUE(fileutils::DeletePath(folder.Join("name"), /*unusedFlag=*/false));
  EXPECT_FALSE(test::IsThere(folder.Join("name")));
  EXPECT_EQ(test::GetFile(folder.Join("file")), "x");
}

TEST(DeletePath, FollowsLinksAmongTheAncestors) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("real/file"), "x");
  test::MakeLink(folder.Join("link"), "real");
  EXPECT_TRUE(fileutils::DeletePath(folder.Join("link/file"), /*unusedFlag=*/false));
  EXPECT_FALSE(test::IsThere(folder.Join("real/file")));
  EXPECT_EQ(test::GetLink(folder.Join("link")), "real");
}

TEST(DeletePath, SucceedsOnAMissingPath) {
  const Items items;
  EXPECT_TRUE(fileutils::DeletePath(items.folder.Join("missing"), /*unusedFlag=*/false));
  EXPECT_TRUE(fileutils::DeletePath("", /*unusedFlag=*/false));
}

TEST(DeletePath, SucceedsOnADanglingLinkAndKeepsIt) {
  const Items items;
  EXPECT_TRUE(fileutils::DeletePath(items.folder.Join("dangling"), /*unusedFlag=*/false));
  EXPECT_EQ(test::GetLink(items.folder.Join("dangling")), "nothing");
}

TEST(DeletePath, FailsOnAFolderThatIsNotEmptyAndRemovesNothing) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("full/file"), "x");
  EXPECT_FALSE(fileutils::DeletePath(folder.Join("full"), /*unusedFlag=*/false));
  EXPECT_EQ(test::GetFile(folder.Join("full/file")), "x");
}

TEST(DeletePath, DoesTheSameWhateverTheUnusedFlag) {
  const Items items;
  EXPECT_TRUE(fileutils::DeletePath(items.folder.Join("file"), /*unusedFlag=*/true));
  EXPECT_FALSE(test::IsThere(items.folder.Join("file")));
  EXPECT_TRUE(fileutils::DeletePath(items.folder.Join("dangling"), /*unusedFlag=*/true));
  EXPECT_EQ(test::GetLink(items.folder.Join("dangling")), "nothing");
}

TEST(DeletePath, FailsWhereTheRemovalFails) {
  const Items items;
  platform::ScopedSystemCalls calls;
  calls->remove = [](const char*) {
    errno = EIO;
    return -1;
  };
  EXPECT_FALSE(fileutils::DeletePath(items.folder.Join("file"), /*unusedFlag=*/false));
}

TEST(DeletePath, NeverTakesAPathWithANulByteForAShorterOne) {
  const Items items;
  EXPECT_TRUE(fileutils::DeletePath(items.folder.Join("file\0x"s), /*unusedFlag=*/false));
  EXPECT_TRUE(test::IsThere(items.folder.Join("file")));
}

}  // namespace
