#include "platform/item_handle.h"

#include <cerrno>
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace platform {

namespace {

// Whether there are handles on more than folders and links.
#ifdef O_EVTONLY
constexpr bool kHasHandlesOnFiles = false;
#else
constexpr bool kHasHandlesOnFiles = true;
#endif

int Examine(int folder, const char* name, UniqueFd* handle) {
  struct stat status = {};
  return ExamineItem(folder, name, handle, &status);
}

class ItemHandleTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(0, Examine(AT_FDCWD, dir_.Path().c_str(), &folder_)); }
  test::ScopedTempDir dir_;
  UniqueFd folder_;
};

using ExamineItemTest = ItemHandleTest;

TEST_F(ExamineItemTest, TellsItemsOfEveryKind) {
  test::PutFile(dir_.Join("file"), "x");
  test::MakeDirs(dir_.Join("folder"));
  test::MakeFifo(dir_.Join("fifo"));
  test::MakeLink(dir_.Join("link"), "file");
  test::MakeLink(dir_.Join("folderLink"), "folder");
  test::MakeLink(dir_.Join("dangling"), "nothing");
  const struct {
    const char* name;
    mode_t kind;
  } rows[] = {{"file", S_IFREG},       {"folder", S_IFDIR},   {"fifo", S_IFIFO}, {"link", S_IFLNK},
              {"folderLink", S_IFLNK}, {"dangling", S_IFLNK}, {".", S_IFDIR},    {"..", S_IFDIR}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    UniqueFd handle;
    struct stat status = {};
    ASSERT_EQ(0, ExamineItem(folder_.Get(), row.name, &handle, &status));
    EXPECT_EQ(row.kind, status.st_mode & S_IFMT);
    if (!kHasHandlesOnFiles && row.kind != S_IFDIR && row.kind != S_IFLNK) {
      EXPECT_FALSE(handle);
      continue;
    }
    struct stat same = {};
    ASSERT_EQ(0, ::fstat(handle.Get(), &same));
    EXPECT_EQ(same.st_dev, status.st_dev);
    EXPECT_EQ(same.st_ino, status.st_ino);
    EXPECT_EQ(FD_CLOEXEC, ::fcntl(handle.Get(), F_GETFD));
  }
}

TEST_F(ExamineItemTest, GivesFoldersForTheAtCalls) {
  test::PutFile(dir_.Join("folder/file"), "x");
  UniqueFd folder;
  ASSERT_EQ(0, Examine(folder_.Get(), "folder", &folder));
  UniqueFd file;
  EXPECT_EQ(0, Examine(folder.Get(), "file", &file));
  EXPECT_EQ(0, ::unlinkat(folder.Get(), "file", 0));
}

TEST_F(ExamineItemTest, FailsAsTheSystemDoesAndLeavesHandleAndStatus) {
  const UniqueFd file(
      ::openat(folder_.Get(), "file", O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  ASSERT_TRUE(file);
  const struct {
    int folder;
    std::string name;
    int error;
  } rows[] = {{folder_.Get(), "missing", ENOENT},
              {folder_.Get(), "", ENOENT},
              {file.Get(), "x", ENOTDIR},
              {folder_.Get(), std::string(256, 'n'), ENAMETOOLONG},
              {-1, "file", EBADF}};
  UniqueFd handle(::dup(folder_.Get()));
  const int before = handle.Get();
  struct stat status = {};
  status.st_uid = 4711;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.error, ExamineItem(row.folder, row.name.c_str(), &handle, &status));
    EXPECT_EQ(before, handle.Get());
    EXPECT_EQ(4711U, status.st_uid);
  }
  EXPECT_NE(-1, ::fcntl(before, F_GETFD));
}

TEST_F(ExamineItemTest, NeedsNoRightToRead) {
  if (!kHasHandlesOnFiles) GTEST_SKIP() << "macOS asks for that right";
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::PutFile(dir_.Join("file"), "x");
  test::SetMode(dir_.Join("file"), 0);
  test::MakeDirs(dir_.Join("folder"));
  test::SetMode(dir_.Join("folder"), 0);
  test::RunInChild([&] {
    ASSERT_EQ(0, ::seteuid(1000));
    UniqueFd handle;
    EXPECT_EQ(0, Examine(folder_.Get(), "file", &handle));
    EXPECT_EQ(0, Examine(folder_.Get(), "folder", &handle));
    UniqueFd inside;
    EXPECT_EQ(EACCES, Examine(handle.Get(), "x", &inside));
  });
}

using ReadLinkHandleTest = ItemHandleTest;

TEST_F(ReadLinkHandleTest, ReadsTheText) {
  for (const std::string& text : {std::string("a"), std::string("/no/such//place/"),
                                  std::string(4095, 'x'), std::string("\xff\n")}) {
    SCOPED_TRACE(text);
    if (::symlinkat(text.c_str(), folder_.Get(), "link") != 0) {
      ASSERT_EQ(ENAMETOOLONG, errno);  // shorter texts only, on some file systems
      continue;
    }
    UniqueFd handle;
    ASSERT_EQ(0, Examine(folder_.Get(), "link", &handle));
    std::string read;
    EXPECT_EQ(0, ReadLinkHandle(handle, &read));
    EXPECT_EQ(text, read);
    ASSERT_EQ(0, ::unlinkat(folder_.Get(), "link", 0));
  }
}

TEST_F(ReadLinkHandleTest, ReadsTheLinkThatWasOpenedAfterItWasReplaced) {
  if (!kHasHandlesOnFiles && ::dlsym(RTLD_DEFAULT, "freadlink") == nullptr) {
    GTEST_SKIP() << "macOS before 13 reads no link that is gone";
  }
  test::MakeLink(dir_.Join("link"), "old");
  UniqueFd handle;
  ASSERT_EQ(0, Examine(folder_.Get(), "link", &handle));
  test::MakeLink(dir_.Join("other"), "new");
  ASSERT_EQ(0, ::renameat(folder_.Get(), "other", folder_.Get(), "link"));
  std::string text;
  EXPECT_EQ(0, ReadLinkHandle(handle, &text));
  EXPECT_EQ("old", text);
}

TEST_F(ReadLinkHandleTest, FailsOnAnythingButALink) {
  const UniqueFd file(
      ::openat(folder_.Get(), "file", O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  ASSERT_TRUE(file);
  std::string text = "kept";
  EXPECT_EQ(EINVAL, ReadLinkHandle(file, &text));
  EXPECT_EQ(EINVAL, ReadLinkHandle(folder_, &text));
  EXPECT_EQ(EBADF, ReadLinkHandle(UniqueFd(), &text));
  EXPECT_EQ("kept", text);
}

}  // namespace

}  // namespace platform
