#include "platform/entry_removal.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "platform/path_walk.h"
#include "platform/system_calls_for_testing.h"
#include "platform/unique_fd.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"
#include "tests/support/tree.h"

using namespace std::string_literals;

namespace platform {

namespace {

constexpr uid_t kUser = 1001;

class RemoveEntryTest : public testing::Test {
 protected:
  void SetUp() override {
    test::MakeDirs(dir_.Join("folder"));
    ASSERT_EQ(0, OpenFolder(At(""), &folder_));
  }

  // In the folder whose entries are removed.
  [[nodiscard]] std::string At(const std::string& relative) const {
    return dir_.Join("folder/" + relative);
  }

  [[nodiscard]] int Remove(const std::string& relative) const {
    return RemoveEntry(folder_.Get(), relative);
  }

  test::ScopedTempDir dir_;
  UniqueFd folder_;
};

TEST_F(RemoveEntryTest, RemovesFilesLinksAndEmptyFolders) {
  test::PutFile(dir_.Join("outside/file"), "x");
  const std::string odd = test::TakesAnyBytes(dir_.Path()) ? " \n\xff" : " \n";
  for (const std::string folder : {"", "a/", "a/b/c/"}) {
    SCOPED_TRACE(folder);
    test::PutFile(At(folder + "file"), "x");
    test::SetMode(At(folder + "file"), 0);
    test::PutFile(At(folder + odd), "x");
    test::MakeFifo(At(folder + "fifo"));
    test::MakeDirs(At(folder + "empty"));
    test::MakeLink(At(folder + "toFolder"), dir_.Join("outside"));
    test::MakeLink(At(folder + "toFile"), dir_.Join("outside/file"));
    test::MakeLink(At(folder + "dangling"), "missing");
    for (const std::string& name :
         {"file"s, odd, "fifo"s, "empty"s, "toFolder"s, "toFile"s, "dangling"s}) {
      SCOPED_TRACE(name);
      EXPECT_EQ(0, Remove(folder + name));
      EXPECT_FALSE(test::IsThere(At(folder + name)));
    }
  }
  EXPECT_EQ("x", test::GetFile(dir_.Join("outside/file")));
}

TEST_F(RemoveEntryTest, RemovesOneNameOfAFile) {
  test::PutFile(At("file"), "x");
  test::MakeHardLink(At("other"), At("file"));
  EXPECT_EQ(0, Remove("file"));
  EXPECT_EQ("x", test::GetFile(At("other")));
}

TEST_F(RemoveEntryTest, TakesNamesThatOnlyLookLikeDots) {
  for (const std::string name : {"...", ".a", "..a", ". "}) {
    SCOPED_TRACE(name);
    test::PutFile(At(name + "/" + name), "x");
    EXPECT_EQ(0, Remove(name + "/" + name));
    EXPECT_EQ(0, Remove(name));
  }
}

TEST_F(RemoveEntryTest, TakesAnyHandleOnTheFolder) {
  test::PutFile(At("a/file"), "x");
  test::PutFile(At("a/other"), "x");
  const UniqueFd readable(::open(At("").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  EXPECT_EQ(0, RemoveEntry(readable.Get(), "a/file"));
  // It is the folder that counts, wherever that is now.
  ASSERT_EQ(0, ::rename(At("").c_str(), dir_.Join("moved").c_str()));
  test::PutFile(At("a/other"), "new");
  EXPECT_EQ(0, RemoveEntry(readable.Get(), "a/other"));
  EXPECT_FALSE(test::IsThere(dir_.Join("moved/a/other")));
  EXPECT_EQ("new", test::GetFile(At("a/other")));
}

TEST_F(RemoveEntryTest, KeepsAFolderWithSomethingInIt) {
  test::PutFile(At("a/b/file"), "x");
  for (const std::string path : {"a", "a/b"}) {
    SCOPED_TRACE(path);
    const int error = Remove(path);
    EXPECT_TRUE(error == ENOTEMPTY || error == EEXIST) << error;
  }
  EXPECT_EQ("x", test::GetFile(At("a/b/file")));
}

TEST_F(RemoveEntryTest, FailsWhereNothingIsThere) {
  test::MakeDirs(At("a"));
  EXPECT_EQ(ENOENT, Remove("missing"));
  EXPECT_EQ(ENOENT, Remove("a/missing"));
  EXPECT_EQ(ENOENT, Remove("missing/file"));
  EXPECT_EQ(ENAMETOOLONG, Remove(std::string(256, 'n')));
  EXPECT_EQ(ENAMETOOLONG, Remove(std::string(256, 'n') + "/file"));
  EXPECT_EQ(EBADF, RemoveEntry(-1, "a"));
  EXPECT_EQ(EBADF, RemoveEntry(-1, "a/file"));
}

TEST_F(RemoveEntryTest, FollowsNoLinkOnTheWay) {
  test::PutFile(dir_.Join("outside/file"), "x");
  test::PutFile(dir_.Join("outside/sub/file"), "x");
  test::PutFile(At("inside/file"), "x");
  test::MakeLink(At("absolute"), dir_.Join("outside"));
  test::MakeLink(At("relative"), "../outside");
  test::MakeLink(At("toInside"), "inside");
  test::MakeLink(At("inside/up"), "..");
  test::MakeLink(At("dangling"), "missing");
  const test::Tree before = test::ReadTree(dir_.Path());
  for (const std::string path : {"absolute/file", "relative/file", "relative/sub/file",
                                 "toInside/file", "inside/up/file", "dangling/file"}) {
    SCOPED_TRACE(path);
    const int error = Remove(path);
    EXPECT_TRUE(error == ENOTDIR || error == ELOOP) << error;
  }
  EXPECT_EQ(std::vector<std::string>(), test::CompareTrees(before, test::ReadTree(dir_.Path())));
}

TEST_F(RemoveEntryTest, FailsWhereAFileIsOnTheWay) {
  test::PutFile(At("file"), "x");
  test::MakeFifo(At("fifo"));
  EXPECT_EQ(ENOTDIR, Remove("file/x"));
  EXPECT_EQ(ENOTDIR, Remove("fifo/x"));
}

TEST_F(RemoveEntryTest, RefusesWhatIsNoPathBelowTheFolder) {
  test::PutFile(dir_.Join("file"), "x");
  test::PutFile(At("file"), "x");
  test::PutFile(At("a/file"), "x");
  test::MakeDirs(At("a/empty"));
  const test::Tree before = test::ReadTree(dir_.Path());
  const std::string paths[] = {
      "",
      "/",
      "/file",
      At("file"),
      "a/",
      "a/empty/",
      "a//file",
      "a//",
      ".",
      "./file",
      "a/.",
      "a/./file",
      "a/empty/.",
      "..",
      "../file",
      "a/..",
      "a/../file",
      "a/../../file",
      std::string("file\0", 5),
      std::string("file\0x", 6),
      std::string("\0", 1),
      std::string("a\0/file", 7),
  };
  for (const std::string& path : paths) {
    SCOPED_TRACE(path);
    EXPECT_EQ(EINVAL, Remove(path));
  }
  EXPECT_EQ(std::vector<std::string>(), test::CompareTrees(before, test::ReadTree(dir_.Path())));
}

TEST_F(RemoveEntryTest, NeedsTheRightToWriteTheFolderOfTheEntry) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::PutFile(At("roots/file"), "x");
  test::PutFile(At("his/file"), "x");
  test::SetOwner(At("his"), kUser, kUser);
  test::MakeDirs(At("closed"));
  test::PutFile(At("closed/file"), "x");
  test::SetMode(At("closed"), 0700);
  test::RunInChild([&] {
    ASSERT_EQ(0, ::seteuid(kUser));
    EXPECT_EQ(EACCES, Remove("roots/file"));
    EXPECT_EQ(EACCES, Remove("closed/file"));
    EXPECT_EQ(0, Remove("his/file"));
  });
  EXPECT_EQ("x", test::GetFile(At("roots/file")));
}

TEST_F(RemoveEntryTest, ReachesEntriesWhosePathIsTooLongForTheSystem) {
  std::vector<std::string> paths;
  std::string path;
  UniqueFd folder(::dup(folder_.Get()));
  for (int depth = 0; depth < 20; ++depth) {
    const std::string name(250, 'n');
    ASSERT_EQ(0, ::mkdirat(folder.Get(), name.c_str(), 0755));
    folder.Reset(::openat(folder.Get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    path += (path.empty() ? "" : "/") + name;
    paths.push_back(path);
  }
  for (; !paths.empty(); paths.pop_back()) EXPECT_EQ(0, Remove(paths.back()));
  EXPECT_EQ(1U, test::ReadTree(At("")).size());
}

TEST_F(RemoveEntryTest, TellsWhyTheSystemRefuses) {
  test::PutFile(At("a/file"), "x");
  ScopedSystemCalls calls;
  calls->unlinkat = [](int, const char*, int) {
    errno = EIO;
    return -1;
  };
  EXPECT_EQ(EIO, Remove("a/file"));
}

// An entry that is exchanged for another between the look and the removal.
std::string exchanged;
char newKind;

void Exchange(char kind) {
  (void)std::remove(exchanged.c_str());
  if (kind == 'd') test::MakeDirs(exchanged);
  if (kind == 'f') test::PutFile(exchanged, "x");
  if (kind == 'l') test::MakeLink(exchanged, "..");
}

TEST_F(RemoveEntryTest, FailsWhereTheEntryChangesItsKind) {
  const struct {
    char before;
    char after;
  } rows[] = {{'f', 'd'}, {'l', 'd'}, {'d', 'f'}, {'d', 'l'}};
  test::MakeDirs(At("a"));
  exchanged = At("a/entry");
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(1, row.before) + row.after);
    Exchange(row.before);
    newKind = row.after;
    ScopedSystemCalls calls;
    calls->unlinkat = [](int folder, const char* name, int flags) {
      Exchange(newKind);
      return ::unlinkat(folder, name, flags);
    };
    const int error = Remove("a/entry");
    if (row.after == 'd') {
      EXPECT_TRUE(error == EISDIR || error == EPERM) << error;
    } else {
      EXPECT_EQ(ENOTDIR, error);
    }
    EXPECT_TRUE(test::IsThere(exchanged));
  }
}

}  // namespace

}  // namespace platform
