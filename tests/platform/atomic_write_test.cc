#include "platform/atomic_write.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <optional>
#include <set>
#include <string>
#include <sys/types.h>
#include <thread>
#include <unistd.h>

#include "tests/support/files.h"
#include "tests/support/known_faults.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"
#include "tests/support/tree.h"

using namespace std::string_literals;

namespace platform {
namespace {

std::set<std::string> NamesIn(const std::string& folder) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.insert(entry.path().filename());
  }
  return names;
}

TEST(WriteFileAtomically, MakesAFile) {
  const test::ScopedTempDir dir;
  EXPECT_TRUE(WriteFileAtomically(dir.Join("file"), "new"));
  EXPECT_EQ(test::GetFile(dir.Join("file")), "new");
  EXPECT_EQ(NamesIn(dir.Path()), std::set<std::string>({"file"}));
}

TEST(WriteFileAtomically, ReplacesAFile) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), "old and longer");
  EXPECT_TRUE(WriteFileAtomically(dir.Join("file"), "new"));
  EXPECT_EQ(test::GetFile(dir.Join("file")), "new");
  EXPECT_EQ(NamesIn(dir.Path()), std::set<std::string>({"file"}));
}

TEST(WriteFileAtomically, WritesAnyBytes) {
  std::string everyByte;
  for (int i = 0; i < 256; ++i) everyByte += static_cast<char>(i);
  std::string large;
  while (large.size() < 5'000'000) large += everyByte;
  const test::ScopedTempDir dir;
  for (const std::string& content : {""s, "\0"s, "a\r\nb\n"s, everyByte, large}) {
    SCOPED_TRACE(content.size());
    EXPECT_TRUE(WriteFileAtomically(dir.Join("file"), content));
    EXPECT_TRUE(test::GetFile(dir.Join("file")) == content);
  }
}

TEST(WriteFileAtomically, TakesARelativePath) {
  const test::ScopedTempDir dir;
  test::RunInChild([&dir] {
    ASSERT_EQ(chdir(dir.Path().c_str()), 0);
    EXPECT_TRUE(WriteFileAtomically("file", "new"));
  });
  EXPECT_EQ(test::GetFile(dir.Join("file")), "new");
}

TEST(WriteFileAtomically, TakesTheLongestName) {
  if (test::HasFault(test::Fault::kLengthensNamesForWriting)) {
    GTEST_SKIP() << "GNUstep's temporary file has a name longer than that";
  }
  const test::ScopedTempDir dir;
  const std::string name(255, 'n');
  EXPECT_TRUE(WriteFileAtomically(dir.Join(name), "first"));
  EXPECT_TRUE(WriteFileAtomically(dir.Join(name), "second"));
  EXPECT_EQ(test::GetFile(dir.Join(name)), "second");
  EXPECT_FALSE(WriteFileAtomically(dir.Join(name + "n"), "x"));
  EXPECT_EQ(NamesIn(dir.Path()), std::set<std::string>({name}));
}

TEST(WriteFileAtomically, GivesANewFileTheModeThatTheUmaskLeaves) {
  const test::ScopedTempDir dir;
  {
    const test::ScopedUmask mask(027);
    EXPECT_TRUE(WriteFileAtomically(dir.Join("a"), "new"));
  }
  {
    const test::ScopedUmask mask(0);
    EXPECT_TRUE(WriteFileAtomically(dir.Join("b"), "new"));
  }
  EXPECT_EQ(test::GetMode(dir.Join("a")), 0640U);
  if (test::HasFault(test::Fault::kMakesFilesFor0644)) return;
  EXPECT_EQ(test::GetMode(dir.Join("b")), 0666U);
}

TEST(WriteFileAtomically, KeepsThePermissionBitsWhateverTheUmask) {
  const test::ScopedTempDir dir;
  const test::ScopedUmask mask(077);
  for (const mode_t mode : {mode_t{0400}, mode_t{0640}, mode_t{0666}, mode_t{0777}}) {
    SCOPED_TRACE(mode);
    test::PutFile(dir.Join("file"), "old");
    test::SetMode(dir.Join("file"), mode);
    EXPECT_TRUE(WriteFileAtomically(dir.Join("file"), "new"));
    EXPECT_EQ(test::GetMode(dir.Join("file")), mode);
    EXPECT_EQ(test::GetFile(dir.Join("file")), "new");
    ASSERT_EQ(unlink(dir.Join("file").c_str()), 0);
  }
}

TEST(WriteFileAtomically, ReplacesAFileThatMayNotBeWrittenInAFolderThatMay) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), "old");
  test::SetMode(dir.Path(), 0777);
  test::RunInChild([&dir] {
    ASSERT_EQ(seteuid(1000), 0);
    EXPECT_TRUE(WriteFileAtomically(dir.Join("file"), "new"));
  });
  EXPECT_EQ(test::GetFile(dir.Join("file")), "new");
  EXPECT_EQ(test::GetOwner(dir.Join("file")), 1000U);
}

TEST(WriteFileAtomically, FailsInAFolderThatMayNotBeWritten) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), "old");
  test::SetOwner(dir.Join("file"), 1000, 1000);
  test::RunInChild([&dir] {
    ASSERT_EQ(seteuid(1000), 0);
    EXPECT_FALSE(WriteFileAtomically(dir.Join("file"), "new"));
  });
  EXPECT_EQ(test::GetFile(dir.Join("file")), "old");
}

TEST(WriteFileAtomically, ReplacesALinkAndLeavesWhatItLeadsTo) {
  const test::ScopedTempDir dir;
  const test::ScopedUmask mask(022);
  test::PutFile(dir.Join("file"), "old");
  test::SetMode(dir.Join("file"), 0600);
  test::MakeLink(dir.Join("link"), "file");
  EXPECT_TRUE(WriteFileAtomically(dir.Join("link"), "new"));
  EXPECT_EQ(test::GetLink(dir.Join("link")), std::nullopt);
  EXPECT_EQ(test::GetFile(dir.Join("link")), "new");
  if (!test::HasFault(test::Fault::kGivesTheModeBehindALink)) {
    EXPECT_EQ(test::GetMode(dir.Join("link")), 0644U);
  }
  EXPECT_EQ(test::GetFile(dir.Join("file")), "old");
  EXPECT_EQ(test::GetMode(dir.Join("file")), 0600U);
}

TEST(WriteFileAtomically, ReplacesADanglingLinkAndLeavesItsTargetMissing) {
  const test::ScopedTempDir dir;
  test::MakeLink(dir.Join("link"), "missing");
  EXPECT_TRUE(WriteFileAtomically(dir.Join("link"), "new"));
  EXPECT_EQ(test::GetLink(dir.Join("link")), std::nullopt);
  EXPECT_EQ(test::GetFile(dir.Join("link")), "new");
  EXPECT_FALSE(test::IsThere(dir.Join("missing")));
}

TEST(WriteFileAtomically, ReplacesALinkToAFolder) {
  const test::ScopedTempDir dir;
  test::MakeDirs(dir.Join("folder"));
  test::MakeLink(dir.Join("link"), "folder");
  EXPECT_TRUE(WriteFileAtomically(dir.Join("link"), "new"));
  EXPECT_EQ(test::GetFile(dir.Join("link")), "new");
  EXPECT_EQ(NamesIn(dir.Join("folder")), std::set<std::string>());
}

TEST(WriteFileAtomically, FollowsLinksAmongTheAncestors) {
  const test::ScopedTempDir dir;
  test::MakeDirs(dir.Join("folder"));
  test::MakeLink(dir.Join("link"), "folder");
  EXPECT_TRUE(WriteFileAtomically(dir.Join("link/file"), "new"));
  EXPECT_EQ(test::GetFile(dir.Join("folder/file")), "new");
}

TEST(WriteFileAtomically, LeavesTheOldBytesToOtherNamesOfTheFile) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), "old");
  test::MakeHardLink(dir.Join("other"), dir.Join("file"));
  EXPECT_TRUE(WriteFileAtomically(dir.Join("file"), "new"));
  EXPECT_EQ(test::GetFile(dir.Join("file")), "new");
  EXPECT_EQ(test::GetFile(dir.Join("other")), "old");
}

TEST(WriteFileAtomically, FailsAtAFolderAndLeavesIt) {
  const test::ScopedTempDir dir;
  test::MakeDirs(dir.Join("empty"));
  test::PutFile(dir.Join("full/file"), "content");
  const test::Tree before = test::ReadTree(dir.Path());
  for (const std::string name : {"empty", "full", ".", ""}) {
    SCOPED_TRACE(name);
    EXPECT_FALSE(WriteFileAtomically(dir.Join(name), "new"));
  }
  EXPECT_EQ(test::ReadTree(dir.Path()), before);
}

TEST(WriteFileAtomically, FailsWithASlashAtTheEnd) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), "old");
  EXPECT_FALSE(WriteFileAtomically(dir.Join("file/"), "new"));
  EXPECT_FALSE(WriteFileAtomically(dir.Join("missing/"), "new"));
  EXPECT_EQ(test::GetFile(dir.Join("file")), "old");
  EXPECT_EQ(NamesIn(dir.Path()), std::set<std::string>({"file"}));
}

TEST(WriteFileAtomically, FailsWithAnEmptyPath) { EXPECT_FALSE(WriteFileAtomically("", "new")); }

TEST(WriteFileAtomically, FailsWithoutTheFolderAboveAndMakesNone) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), "old");
  EXPECT_FALSE(WriteFileAtomically(dir.Join("missing/x"), "new"));
  EXPECT_FALSE(WriteFileAtomically(dir.Join("file/x"), "new"));
  EXPECT_EQ(NamesIn(dir.Path()), std::set<std::string>({"file"}));
}

TEST(WriteFileAtomically, ShowsReadersTheOldOrTheNewBytes) {
  const test::ScopedTempDir dir;
  const std::string path = dir.Join("file");
  const std::string a(100'000, 'a');
  const std::string b(70'000, 'b');
  ASSERT_TRUE(WriteFileAtomically(path, a));
  std::thread writer([&] {
    for (int i = 0; i < 200; ++i) EXPECT_TRUE(WriteFileAtomically(path, i % 2 == 0 ? b : a));
  });
  int torn = 0;
  for (int i = 0; i < 2000; ++i) {
    const std::optional<std::string> seen = test::GetFile(path);
    if (seen != a && seen != b) ++torn;
  }
  writer.join();
  EXPECT_EQ(torn, 0);
  EXPECT_EQ(NamesIn(dir.Path()), std::set<std::string>({"file"}));
}

}  // namespace
}  // namespace platform
