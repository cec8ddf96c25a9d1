#include "tests/support/tree.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace test {

// For the messages of gtest.
static void PrintTo(const TreeItem& item, std::ostream* stream) {
  *stream << item.kind << " 0" << std::oct << item.mode << std::dec << " " << item.owner << ":"
          << item.group << " x" << item.names << " \"" << item.content << "\"";
}

}  // namespace test

namespace {

using Lines = std::vector<std::string>;

test::TreeItem Own(char kind, mode_t mode, nlink_t names, const std::string& content) {
  return {kind, mode, geteuid(), getegid(), names, content};
}

TEST(ReadTree, HoldsEveryItemByItsRelativePath) {
  const test::ScopedTempDir folder;
  // On some systems a new item has the group of its folder.
  test::SetOwner(folder.Path(), geteuid(), getegid());
  test::PutFile(folder.Join("a/b"), "content");
  test::SetMode(folder.Join("a/b"), 04711);
  test::MakeHardLink(folder.Join("c"), folder.Join("a/b"));
  test::SetMode(folder.Join("a"), 0700);
  test::MakeFifo(folder.Join("a/fifo"));
  test::SetMode(folder.Join("a/fifo"), 0600);
  test::MakeDirs(folder.Join("a.b"));
  const test::Tree expected = {
      {"", Own('d', 0755, 0, "")},
      {"a", Own('d', 0700, 0, "")},
      {"a/b", Own('f', 04711, 2, "content")},
      {"a/fifo", Own('p', 0600, 1, "")},
      {"a.b", Own('d', 0755, 0, "")},
      {"c", Own('f', 04711, 2, "content")},
  };
  EXPECT_EQ(test::ReadTree(folder.Path()), expected);
  EXPECT_EQ(test::ReadTree(folder.Path() + "/"), expected);
}

TEST(ReadTree, HoldsTheTextOfLinksAndDoesNotFollowThem) {
  const test::ScopedTempDir other;
  test::PutFile(other.Join("file"), "x");
  const test::ScopedTempDir folder;
  test::MakeLink(folder.Join("dangling"), "no such item");
  test::MakeLink(folder.Join("link"), other.Path());
  const test::Tree tree = test::ReadTree(folder.Path());
  ASSERT_EQ(tree.size(), 3u);
  EXPECT_EQ(tree.at("dangling").kind, 'l');
  EXPECT_EQ(tree.at("dangling").content, "no such item");
  EXPECT_EQ(tree.at("link").kind, 'l');
  EXPECT_EQ(tree.at("link").content, other.Path());
}

TEST(ReadTree, KnowsSockets) {
  const test::ScopedTempDir folder;
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  const std::string path = folder.Join("socket");
  ASSERT_LT(path.size(), sizeof address.sun_path);
  path.copy(address.sun_path, path.size());
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  close(fd);
  EXPECT_EQ(test::ReadTree(folder.Path()).at("socket").kind, 's');
}

TEST(ReadTree, HoldsOwners) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("a"), "");
  test::SetOwner(folder.Join("a"), 501, 20);
  const test::Tree tree = test::ReadTree(folder.Path());
  EXPECT_EQ(tree.at("a").owner, 501u);
  EXPECT_EQ(tree.at("a").group, 20u);
}

TEST(ReadTree, ReadsTheWholeTreeFromTheRootFolder) {
  if (const std::string why = test::WhyNoRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("a/b"), "x");
  test::RunInRoot(folder.Path(), [] {
    const test::Tree tree = test::ReadTree("/");
    ASSERT_EQ(tree.size(), 3u);
    EXPECT_EQ(tree.count(""), 1u);
    EXPECT_EQ(tree.count("a"), 1u);
    EXPECT_EQ(tree.at("a/b").content, "x");
  });
}

TEST(ReadTree, FailsTheTestWithoutAFolder) {
  const test::ScopedTempDir folder;
  const std::string path = folder.Join("a");
  testing::TestPartResultArray failures;
  {
    const testing::ScopedFakeTestPartResultReporter reporter(
        testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &failures);
    EXPECT_TRUE(test::ReadTree(path).empty());
  }
  ASSERT_EQ(failures.size(), 2);
  // Newer releases of gtest end a message's line.
  const auto message = [&failures](int i) {
    const std::string text = failures.GetTestPartResult(i).message();
    return text.substr(0, text.find_last_not_of('\n') + 1);
  };
  EXPECT_EQ(message(0), "Failed\n" + path + " cannot be examined");
  EXPECT_EQ(message(1), "Failed\n" + path + " cannot be read: No such file or directory");
}

TEST(CompareTrees, IsEmptyForEqualTrees) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("a/b"), "x");
  EXPECT_EQ(test::CompareTrees(test::ReadTree(folder.Path()), test::ReadTree(folder.Path())),
            Lines());
  EXPECT_EQ(test::CompareTrees({}, {}), Lines());
}

TEST(CompareTrees, TellsWhatCameWentAndChangedInTheOrderOfThePaths) {
  const test::ScopedTempDir folder;
  test::PutFile(folder.Join("b"), "old");
  test::PutFile(folder.Join("c/d"), "x");
  test::PutFile(folder.Join("e"), "x");
  const test::Tree before = test::ReadTree(folder.Path());
  test::PutFile(folder.Join("a"), "");
  test::PutFile(folder.Join("b"), "new");
  ASSERT_EQ(unlink(folder.Join("c/d").c_str()), 0);
  test::MakeFifo(folder.Join("z"));
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(folder.Path())),
            (Lines{"+ a", "~ b", "- c/d", "+ z"}));
}

TEST(CompareTrees, ComparesEveryMemberOfAnItem) {
  const test::TreeItem item = {'f', 0644, 501, 20, 1, "x"};
  const struct {
    const char* name;
    test::TreeItem changed;
  } rows[] = {
      {"kind", {'p', 0644, 501, 20, 1, "x"}},  {"mode", {'f', 0600, 501, 20, 1, "x"}},
      {"owner", {'f', 0644, 502, 20, 1, "x"}}, {"group", {'f', 0644, 501, 21, 1, "x"}},
      {"names", {'f', 0644, 501, 20, 2, "x"}}, {"content", {'f', 0644, 501, 20, 1, "y"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(test::CompareTrees({{"a", item}}, {{"a", row.changed}}), Lines{"~ a"});
  }
}

TEST(CompareTrees, CountsAFolderAsChangedForItsModeAndNotForItsContent) {
  const test::ScopedTempDir folder;
  test::MakeDirs(folder.Join("a"));
  const test::Tree before = test::ReadTree(folder.Path());
  test::MakeDirs(folder.Join("a/b"));
  test::SetMode(folder.Path(), 0700);
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(folder.Path())), (Lines{"~ ", "+ a/b"}));
}

}  // namespace
