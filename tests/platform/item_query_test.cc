#include "platform/item_query.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

using namespace std::string_literals;

namespace platform {
namespace {

class ItemExistsTest : public testing::Test {
 protected:
  // What ItemExists says of an item in the temporary folder.
  std::string Ask(const std::string& relative) {
    bool isFolder = false;
    if (!ItemExists(dir_.Join(relative), &isFolder)) return "absent";
    return isFolder ? "folder" : "other";
  }

  test::ScopedTempDir dir_;
};

TEST_F(ItemExistsTest, TellsFoldersFromFiles) {
  test::MakeDirs(dir_.Join("folder"));
  test::PutFile(dir_.Join("file"), "");
  EXPECT_EQ(Ask("folder"), "folder");
  EXPECT_EQ(Ask("folder/"), "folder");
  EXPECT_EQ(Ask("file"), "other");
  EXPECT_EQ(Ask("missing"), "absent");
}

TEST_F(ItemExistsTest, FollowsLinks) {
  test::MakeDirs(dir_.Join("folder"));
  test::PutFile(dir_.Join("file"), "");
  test::MakeLink(dir_.Join("to folder"), "folder");
  test::MakeLink(dir_.Join("to file"), "file");
  EXPECT_EQ(Ask("to folder"), "folder");
  EXPECT_EQ(Ask("to file"), "other");
}

TEST_F(ItemExistsTest, TakesADanglingLinkForAbsent) {
  test::MakeLink(dir_.Join("link"), "missing");
  EXPECT_EQ(Ask("link"), "absent");
}

TEST_F(ItemExistsTest, TakesALoopOfLinksForAbsent) {
  test::MakeLink(dir_.Join("link"), "link");
  EXPECT_EQ(Ask("link"), "absent");
}

TEST_F(ItemExistsTest, FindsItemsOfOtherKinds) {
  test::MakeFifo(dir_.Join("fifo"));
  EXPECT_EQ(Ask("fifo"), "other");
}

TEST_F(ItemExistsTest, TakesAFileWithASlashBehindItForAbsent) {
  test::PutFile(dir_.Join("file"), "");
  EXPECT_EQ(Ask("file/"), "absent");
}

TEST_F(ItemExistsTest, TakesAnItemBelowAFileForAbsent) {
  test::PutFile(dir_.Join("file"), "");
  EXPECT_EQ(Ask("file/item"), "absent");
}

TEST_F(ItemExistsTest, TakesWhatItMayNotLookAtForAbsent) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::PutFile(dir_.Join("closed/file"), "");
  test::SetMode(dir_.Join("closed"), 0700);
  test::RunInChild([this] {
    ASSERT_EQ(seteuid(1000), 0);
    EXPECT_EQ(Ask("closed"), "folder");
    EXPECT_EQ(Ask("closed/file"), "absent");
  });
}

TEST_F(ItemExistsTest, LeavesTheFlagAloneWhereNothingIsThere) {
  bool isFolder = true;
  EXPECT_FALSE(ItemExists(dir_.Join("missing"), &isFolder));
  EXPECT_TRUE(isFolder);
}

TEST_F(ItemExistsTest, NeedsNoFlag) {
  EXPECT_TRUE(ItemExists(dir_.Path(), nullptr));
  EXPECT_FALSE(ItemExists(dir_.Join("missing"), nullptr));
}

TEST(ItemExists, FindsNothingAtAnEmptyPath) { EXPECT_FALSE(ItemExists("", nullptr)); }

TEST(ItemExists, TakesATildeForAnOrdinaryName) { EXPECT_FALSE(ItemExists("~", nullptr)); }

TEST(GetItemSize, IsTheNumberOfBytesInAFile) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), "seven\n\n");
  std::uint64_t size = 0;
  EXPECT_TRUE(GetItemSize(dir.Join("file"), &size));
  EXPECT_EQ(size, 7U);
}

TEST(GetItemSize, IsZeroForAnEmptyFile) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), "");
  std::uint64_t size = 1;
  EXPECT_TRUE(GetItemSize(dir.Join("file"), &size));
  EXPECT_EQ(size, 0U);
}

TEST(GetItemSize, HasMoreThan32Bits) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), "");
  ASSERT_EQ(truncate(dir.Join("file").c_str(), 5'000'000'000), 0);
  std::uint64_t size = 0;
  EXPECT_TRUE(GetItemSize(dir.Join("file"), &size));
  EXPECT_EQ(size, 5'000'000'000U);
}

TEST(GetItemSize, IsTheLengthOfTheTextForALink) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), std::string(100, 'x'));
  test::MakeLink(dir.Join("link"), "file");
  test::MakeLink(dir.Join("dangling"), "missing");
  std::uint64_t size = 0;
  EXPECT_TRUE(GetItemSize(dir.Join("link"), &size));
  EXPECT_EQ(size, 4U);
  EXPECT_TRUE(GetItemSize(dir.Join("dangling"), &size));
  EXPECT_EQ(size, 7U);
}

TEST(GetItemSize, FailsWithoutAnItemAndLeavesTheSize) {
  const test::ScopedTempDir dir;
  std::uint64_t size = 42;
  EXPECT_FALSE(GetItemSize(dir.Join("missing"), &size));
  EXPECT_FALSE(GetItemSize("", &size));
  EXPECT_EQ(size, 42U);
}

TEST(ItemExists, FindsNothingAtAPathWithANulByte) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), "");
  EXPECT_FALSE(ItemExists(dir.Join("file\0x"s), nullptr));
}

TEST(GetItemSize, FindsNothingAtAPathWithANulByte) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), "");
  std::uint64_t size = 0;
  EXPECT_FALSE(GetItemSize(dir.Join("file\0x"s), &size));
}

}  // namespace
}  // namespace platform
