#include "fileutils/link_check.h"

#include <gtest/gtest.h>
#include <string>

#include "platform/system_calls_for_testing.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace {

using namespace std::string_literals;
using fileutils::CheckPathLinks;

TEST(IsSymbolicLink, IsTrueForTheLinkItselfDanglingOrNot) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("file"), "x");
  test::MakeDirs(folder.Join("folder"));
  test::MakeLink(folder.Join("toFile"), "file");
  test::MakeLink(folder.Join("toFolder"), "folder");
  test::MakeLink(folder.Join("dangling"), "nothing");
  const struct {
    const char* name;
    bool expected;
  } rows[] = {
      {"file", false},    {"folder", false},  {"toFile", true}, {"toFolder", true},
      {"dangling", true}, {"missing", false}, {"", false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(fileutils::IsSymbolicLink(folder.Join(row.name)), row.expected);
  }
  EXPECT_FALSE(fileutils::IsSymbolicLink(""));
}

TEST(IsSymbolicLink, NeverTakesAPathWithANulByteForAShorterOne) {
  const test::ScopedTempDir folder;
  test::MakeLink(folder.Join("link"), "nothing");
  EXPECT_FALSE(fileutils::IsSymbolicLink(folder.Join("link\0x"s)));
}

TEST(CheckPathLinks, HasItsFourAnswers) {
  EXPECT_EQ(fileutils::kNoLinks, 0U);
  EXPECT_EQ(fileutils::kIsLink, 1U);
  EXPECT_EQ(fileutils::kLinkedAncestor, 2U);
  EXPECT_EQ(fileutils::kSeveralHardLinks, 3U);
}

TEST(CheckPathLinks, FindsALinkAtThePathEvenWhenAskedForNothingElse) {
  const test::ScopedTempDir folder;
  test::MakeLink(folder.Join("dangling"), "nothing");
  EXPECT_EQ(CheckPathLinks(folder.Join("dangling"), false, false), 1U);
  EXPECT_EQ(CheckPathLinks(folder.Join("dangling"), true, true), 1U);
}

TEST(CheckPathLinks, FindsSeveralHardLinksWhenAsked) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("file"), "x");
  EXPECT_EQ(CheckPathLinks(folder.Join("file"), false, true), 0U);
  test::MakeHardLink(folder.Join("other"), folder.Join("file"));
  EXPECT_EQ(CheckPathLinks(folder.Join("file"), false, true), 3U);
  EXPECT_EQ(CheckPathLinks(folder.Join("file"), false, false), 0U);
  EXPECT_EQ(CheckPathLinks(folder.Join("file"), true, false), 0U);
}

TEST(CheckPathLinks, FindsALinkAmongTheAncestorsWhenAsked) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("real/a/b/file"), "x");
  test::MakeLink(folder.Join("link"), "real");
  EXPECT_EQ(CheckPathLinks(folder.Join("link/a/b/file"), true, false), 2U);
  EXPECT_EQ(CheckPathLinks(folder.Join("link/missing/too"), true, false), 2U);
  EXPECT_EQ(CheckPathLinks(folder.Join("link/a/b/file"), false, false), 0U);
  EXPECT_EQ(CheckPathLinks(folder.Join("real/a/b/file"), true, true), 0U);
}

TEST(CheckPathLinks, LooksAtTheItemThenItsNamesThenItsAncestors) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("real/file"), "x");
  test::MakeHardLink(folder.Join("real/other"), folder.Join("real/file"));
  test::MakeLink(folder.Join("real/itself"), "file");
  test::MakeLink(folder.Join("link"), "real");
  EXPECT_EQ(CheckPathLinks(folder.Join("link/itself"), true, true), 1U);
  EXPECT_EQ(CheckPathLinks(folder.Join("link/file"), true, true), 3U);
  EXPECT_EQ(CheckPathLinks(folder.Join("link/file"), true, false), 2U);
}

TEST(CheckPathLinks, FindsNothingWhereNothingIs) {
  const test::ScopedTempDir folder;
  EXPECT_EQ(CheckPathLinks(folder.Join("missing"), true, true), 0U);
  EXPECT_EQ(CheckPathLinks("", true, true), 0U);
  EXPECT_EQ(CheckPathLinks("/", true, false), 0U);
}

TEST(CheckPathLinks, EndsAtTheTopOfARelativePath) {
  if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  test::RunInRoot(root.Path(), [] {
    test::PutFile("/real/file", "x");
    test::MakeLink("/link", "real");
    EXPECT_EQ(CheckPathLinks("real/file", true, true), 0U);
    EXPECT_EQ(CheckPathLinks("file", true, true), 0U);
    EXPECT_EQ(CheckPathLinks("link/file", true, true), 2U);
  });
}

TEST(CheckPathLinks, StopsWhereTheParentCannotBeTold) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("real/file"), "x");
  test::MakeLink(folder.Join("link"), "real");
  platform::ScopedSystemCalls calls;
  calls->dirname = [](char*) -> char* { return nullptr; };
  EXPECT_EQ(CheckPathLinks(folder.Join("link/file"), true, false), 0U);
}

// Lays the root out as on macOS, where these three are links.
void MakePlatformLinks() {
  test::PutFile("/private/var/folders/zz/file", "x");
  test::PutFile("/private/var/file", "x");
  test::PutFile("/private/tmp/file", "x");
  test::PutFile("/private/etc/file", "x");
  test::MakeLink("/var", "private/var");
  test::MakeLink("/tmp", "private/tmp");
  test::MakeLink("/etc", "private/etc");
}

TEST(CheckPathLinks, ExemptsVarThoughItIsALink) {
  if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  test::RunInRoot(root.Path(), [] {
    MakePlatformLinks();
    EXPECT_EQ(CheckPathLinks("/var/folders/zz/file", true, true), 0U);
    EXPECT_EQ(CheckPathLinks("/var/file", true, true), 0U);
    EXPECT_EQ(CheckPathLinks("/var", true, true), 1U);
  });
}

TEST(CheckPathLinks, ExemptsVarAloneAndByItsExactName) {
  if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  test::RunInRoot(root.Path(), [] {
    MakePlatformLinks();
    test::MakeLink("/private/var/link", "folders");
    EXPECT_EQ(CheckPathLinks("/tmp/file", true, true), 2U);
    EXPECT_EQ(CheckPathLinks("/etc/file", true, true), 2U);
    EXPECT_EQ(CheckPathLinks("/var/link/zz/file", true, true), 2U);
    EXPECT_EQ(CheckPathLinks("//var/file", true, true), 2U);
  });
}

TEST(CheckPathLinks, FindsNothingOfItsOwnInAPathWithANulByte) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("file"), "x");
  test::MakeHardLink(folder.Join("other"), folder.Join("file"));
  test::MakeLink(folder.Join("link"), "nothing");
  EXPECT_EQ(CheckPathLinks(folder.Join("file\0x"s), true, true), 0U);
  EXPECT_EQ(CheckPathLinks(folder.Join("link\0x"s), true, true), 0U);
}

}  // namespace
