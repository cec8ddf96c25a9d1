#include "platform/exclusive_rename.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "platform/unique_fd.h"
#include "tests/support/files.h"
#include "tests/support/scoped_temp_dir.h"
#include "tests/support/tree.h"

namespace platform {

namespace {

class RenameExclusivelyTest : public testing::Test {
 protected:
  void SetUp() override {
    folder_.Reset(::open(dir_.Path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    test::PutFile(At("probe"), "");
    if (Rename("probe", "file") != 0) GTEST_SKIP() << "no such rename on this file system";
    test::PutFile(At("file"), "abc");
  }
  [[nodiscard]] std::string At(const std::string& relative) const { return dir_.Join(relative); }
  [[nodiscard]] int Rename(const char* from, const char* to) const {
    return RenameExclusively(folder_.Get(), from, to);
  }

  test::ScopedTempDir dir_;
  UniqueFd folder_;
};

TEST_F(RenameExclusivelyTest, GivesAnUnusedName) {
  EXPECT_EQ(0, Rename("file", "new"));
  EXPECT_EQ("abc", test::GetFile(At("new")));
  EXPECT_FALSE(test::IsThere(At("file")));
}

TEST_F(RenameExclusivelyTest, ReplacesNothing) {
  test::PutFile(At("other"), "kept");
  test::MakeDirs(At("folder"));
  test::MakeLink(At("dangling"), "missing");
  const test::Tree before = test::ReadTree(dir_.Path());
  for (const char* name : {"other", "folder", "dangling"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(EEXIST, Rename("file", name));
  }
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(dir_.Path())), std::vector<std::string>{});
}

TEST_F(RenameExclusivelyTest, ChangesNothingForTheSameName) {
  const test::Tree before = test::ReadTree(dir_.Path());
  (void)Rename("file", "file");  // an error on one system, a success on the other
  EXPECT_EQ(ENOENT, Rename("missing", "missing"));
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(dir_.Path())), std::vector<std::string>{});
}

TEST_F(RenameExclusivelyTest, FailsAsTheSystemDoes) {
  EXPECT_EQ(ENOENT, Rename("missing", "new"));
  EXPECT_EQ(ENAMETOOLONG, Rename("file", std::string(256, 'n').c_str()));
  EXPECT_EQ(EBADF, RenameExclusively(-1, "file", "new"));
}

}  // namespace

}  // namespace platform
