#include "platform/symbolic_link.h"

#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"
#include "tests/support/tree.h"

using namespace std::string_literals;

namespace platform {
namespace {

TEST(CreateSymbolicLink, LeadsToTheDestination) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), "content");
  EXPECT_TRUE(CreateSymbolicLink(dir.Join("link"), dir.Join("file")));
  EXPECT_EQ(test::GetLink(dir.Join("link")), dir.Join("file"));
  EXPECT_EQ(test::GetFile(dir.Join("link")), "content");
}

TEST(CreateSymbolicLink, KeepsTheTextOfTheDestination) {
  static constexpr const char* kDestinations[] = {
      "missing", "a//b/", "../x/./y", "~/x", "/Applications/App Store.app/", "\xE6\x97\xA5",
  };
  const test::ScopedTempDir dir;
  for (const std::string destination : kDestinations) {
    SCOPED_TRACE(destination);
    EXPECT_TRUE(CreateSymbolicLink(dir.Join("link"), destination));
    EXPECT_EQ(test::GetLink(dir.Join("link")), destination);
    ASSERT_EQ(unlink(dir.Join("link").c_str()), 0);
  }
}

TEST(CreateSymbolicLink, FollowsLinksAmongTheAncestors) {
  const test::ScopedTempDir dir;
  test::MakeDirs(dir.Join("folder"));
  test::MakeLink(dir.Join("way"), "folder");
  EXPECT_TRUE(CreateSymbolicLink(dir.Join("way/link"), "x"));
  EXPECT_EQ(test::GetLink(dir.Join("folder/link")), "x");
}

TEST(CreateSymbolicLink, FailsWhereAnythingIsAndLeavesIt) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), "content");
  test::MakeDirs(dir.Join("folder"));
  test::MakeLink(dir.Join("link"), "file");
  test::MakeLink(dir.Join("dangling"), "missing");
  test::MakeFifo(dir.Join("fifo"));
  const test::Tree before = test::ReadTree(dir.Path());
  for (const std::string name : {"file", "folder", "link", "dangling", "fifo", "", "."}) {
    SCOPED_TRACE(name);
    EXPECT_FALSE(CreateSymbolicLink(dir.Join(name), "other"));
  }
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(dir.Path())), std::vector<std::string>());
}

TEST(CreateSymbolicLink, FailsWithoutTheFolderAbove) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), "");
  EXPECT_FALSE(CreateSymbolicLink(dir.Join("missing/link"), "x"));
  EXPECT_FALSE(test::IsThere(dir.Join("missing")));
  EXPECT_FALSE(CreateSymbolicLink(dir.Join("file/link"), "x"));
}

TEST(CreateSymbolicLink, FailsInAFolderThatMayNotBeWritten) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir dir;
  test::RunInChild([&dir] {
    ASSERT_EQ(seteuid(1000), 0);
    EXPECT_FALSE(CreateSymbolicLink(dir.Join("link"), "x"));
  });
  EXPECT_FALSE(test::IsThere(dir.Join("link")));
}

TEST(CreateSymbolicLink, FailsWithASlashBehindTheName) {
  const test::ScopedTempDir dir;
  EXPECT_FALSE(CreateSymbolicLink(dir.Join("link/"), "x"));
  EXPECT_FALSE(test::IsThere(dir.Join("link")));
}

TEST(CreateSymbolicLink, FailsWithAnEmptyPathOrDestination) {
  const test::ScopedTempDir dir;
  EXPECT_FALSE(CreateSymbolicLink("", "x"));
  EXPECT_FALSE(CreateSymbolicLink(dir.Join("link"), ""));
  EXPECT_FALSE(test::IsThere(dir.Join("link")));
}

TEST(CreateSymbolicLink, FailsWithANulByte) {
  const test::ScopedTempDir dir;
  EXPECT_FALSE(CreateSymbolicLink(dir.Join("link\0x"s), "x"));
  EXPECT_FALSE(CreateSymbolicLink(dir.Join("link"), "x\0y"s));
  EXPECT_FALSE(test::IsThere(dir.Join("link")));
}

}  // namespace
}  // namespace platform
