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

mode_t KindOf(const UniqueFd& handle) {
  struct stat status = {};
  EXPECT_EQ(0, ::fstat(handle.Get(), &status));
  return static_cast<mode_t>(status.st_mode & S_IFMT);
}

class ItemHandleTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(0, OpenItemHandle(AT_FDCWD, dir_.Path().c_str(), &folder_)); }
  test::ScopedTempDir dir_;
  UniqueFd folder_;
};

using OpenItemHandleTest = ItemHandleTest;

TEST_F(OpenItemHandleTest, OpensItemsOfEveryKind) {
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
#ifdef O_EVTONLY
    if (row.kind == S_IFIFO) {
      EXPECT_EQ(EINVAL, OpenItemHandle(folder_.Get(), row.name, &handle));
      continue;
    }
#endif
    ASSERT_EQ(0, OpenItemHandle(folder_.Get(), row.name, &handle));
    EXPECT_EQ(row.kind, KindOf(handle));
    EXPECT_EQ(FD_CLOEXEC, ::fcntl(handle.Get(), F_GETFD));
  }
}

TEST_F(OpenItemHandleTest, GivesFoldersForTheAtCalls) {
  test::PutFile(dir_.Join("folder/file"), "x");
  UniqueFd folder;
  ASSERT_EQ(0, OpenItemHandle(folder_.Get(), "folder", &folder));
  UniqueFd file;
  EXPECT_EQ(0, OpenItemHandle(folder.Get(), "file", &file));
  EXPECT_EQ(0, ::unlinkat(folder.Get(), "file", 0));
}

TEST_F(OpenItemHandleTest, FailsAsTheSystemDoes) {
  test::PutFile(dir_.Join("file"), "");
  UniqueFd file;
  ASSERT_EQ(0, OpenItemHandle(folder_.Get(), "file", &file));
  UniqueFd handle;
  EXPECT_EQ(ENOENT, OpenItemHandle(folder_.Get(), "missing", &handle));
  EXPECT_EQ(ENOENT, OpenItemHandle(folder_.Get(), "", &handle));
  EXPECT_EQ(ENOTDIR, OpenItemHandle(file.Get(), "x", &handle));
  EXPECT_EQ(ENAMETOOLONG, OpenItemHandle(folder_.Get(), std::string(256, 'n').c_str(), &handle));
  EXPECT_EQ(EBADF, OpenItemHandle(-1, "file", &handle));
  EXPECT_FALSE(handle);
}

TEST_F(OpenItemHandleTest, LeavesTheHandleOnFailure) {
  UniqueFd handle(::dup(folder_.Get()));
  const int before = handle.Get();
  EXPECT_EQ(ENOENT, OpenItemHandle(folder_.Get(), "missing", &handle));
  EXPECT_EQ(before, handle.Get());
  EXPECT_NE(-1, ::fcntl(before, F_GETFD));
}

TEST_F(OpenItemHandleTest, NeedsNoRightToRead) {
#ifdef O_EVTONLY
  GTEST_SKIP() << "macOS asks for that right";
#endif
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::PutFile(dir_.Join("file"), "x");
  test::SetMode(dir_.Join("file"), 0);
  test::MakeDirs(dir_.Join("folder"));
  test::SetMode(dir_.Join("folder"), 0);
  test::RunInChild([&] {
    ASSERT_EQ(0, ::seteuid(1000));
    UniqueFd handle;
    EXPECT_EQ(0, OpenItemHandle(folder_.Get(), "file", &handle));
    EXPECT_EQ(0, OpenItemHandle(folder_.Get(), "folder", &handle));
    UniqueFd inside;
    EXPECT_EQ(EACCES, OpenItemHandle(handle.Get(), "x", &inside));
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
    ASSERT_EQ(0, OpenItemHandle(folder_.Get(), "link", &handle));
    std::string read;
    EXPECT_EQ(0, ReadLinkHandle(handle, &read));
    EXPECT_EQ(text, read);
    ASSERT_EQ(0, ::unlinkat(folder_.Get(), "link", 0));
  }
}

TEST_F(ReadLinkHandleTest, ReadsTheLinkThatWasOpenedAfterItWasReplaced) {
#ifdef O_EVTONLY
  if (::dlsym(RTLD_DEFAULT, "freadlink") == nullptr) GTEST_SKIP() << "a link that is gone is gone";
#endif
  test::MakeLink(dir_.Join("link"), "old");
  UniqueFd handle;
  ASSERT_EQ(0, OpenItemHandle(folder_.Get(), "link", &handle));
  test::MakeLink(dir_.Join("other"), "new");
  ASSERT_EQ(0, ::renameat(folder_.Get(), "other", folder_.Get(), "link"));
  std::string text;
  EXPECT_EQ(0, ReadLinkHandle(handle, &text));
  EXPECT_EQ("old", text);
}

TEST_F(ReadLinkHandleTest, FailsOnAnythingButALink) {
  test::PutFile(dir_.Join("file"), "x");
  UniqueFd file;
  ASSERT_EQ(0, OpenItemHandle(folder_.Get(), "file", &file));
  std::string text = "kept";
  EXPECT_EQ(EINVAL, ReadLinkHandle(file, &text));
  EXPECT_EQ(EINVAL, ReadLinkHandle(folder_, &text));
  EXPECT_EQ(EBADF, ReadLinkHandle(UniqueFd(), &text));
  EXPECT_EQ("kept", text);
}

}  // namespace

}  // namespace platform
