#include "platform/directory_stream.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace platform {

namespace {

using Types = std::map<std::string, unsigned char>;

Types ReadAll(DirectoryStream* stream) {
  Types types;
  for (;;) {
    const char* name = nullptr;
    unsigned char type = DT_UNKNOWN;
    EXPECT_EQ(0, stream->Next(&name, &type));
    if (name == nullptr) return types;
    EXPECT_TRUE(types.emplace(name, type).second) << name << " comes twice";
  }
}

class DirectoryStreamTest : public testing::Test {
 protected:
  void SetUp() override {
    folder_.Reset(::open(dir_.Path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_TRUE(folder_);
  }
  [[nodiscard]] std::string At(const std::string& relative) const { return dir_.Join(relative); }
  test::ScopedTempDir dir_;
  UniqueFd folder_;
};

TEST_F(DirectoryStreamTest, GivesEveryEntryButTheTwoDots) {
  test::PutFile(At("a/file"), "x");
  test::MakeDirs(At("a/folder"));
  test::MakeDirs(At("a/..."));
  test::MakeLink(At("a/.link"), "folder");
  test::MakeFifo(At("a/fifo"));
  DirectoryStream stream;
  ASSERT_EQ(0, stream.Open(folder_.Get(), "a"));
  Types types = ReadAll(&stream);
  const Types expected = {
      {"...", DT_DIR}, {".link", DT_LNK}, {"fifo", DT_FIFO}, {"file", DT_REG}, {"folder", DT_DIR}};
  for (auto& [name, type] : types) {
    if (type == DT_UNKNOWN) type = expected.at(name);  // not every file system tells
  }
  EXPECT_EQ(expected, types);
}

TEST_F(DirectoryStreamTest, OpensTheFolderItself) {
  test::PutFile(At("file"), "x");
  DirectoryStream stream;
  ASSERT_EQ(0, stream.Open(folder_.Get(), "."));
  EXPECT_EQ(1U, ReadAll(&stream).count("file"));
}

TEST_F(DirectoryStreamTest, GivesADescriptorForTheAtCalls) {
  test::MakeDirs(At("a"));
  DirectoryStream stream;
  ASSERT_EQ(0, stream.Open(folder_.Get(), "a"));
  EXPECT_EQ(FD_CLOEXEC, ::fcntl(stream.Fd(), F_GETFD));
  EXPECT_EQ(0, ::mkdirat(stream.Fd(), "new", 0700));
  EXPECT_TRUE(test::IsThere(At("a/new")));
}

TEST_F(DirectoryStreamTest, OpensNothingButRealFolders) {
  test::PutFile(At("file"), "x");
  test::MakeFifo(At("fifo"));
  test::MakeDirs(At("folder"));
  test::MakeLink(At("link"), "folder");
  test::MakeLink(At("dangling"), "missing");
  DirectoryStream stream;
  EXPECT_EQ(ENOTDIR, stream.Open(folder_.Get(), "file"));
  EXPECT_EQ(ENOTDIR, stream.Open(folder_.Get(), "fifo"));
  for (const char* const link : {"link", "dangling"}) {
    const int error = stream.Open(folder_.Get(), link);
    EXPECT_TRUE(error == ELOOP || error == ENOTDIR) << error;
  }
  EXPECT_EQ(ENOENT, stream.Open(folder_.Get(), "missing"));
  EXPECT_EQ(ENOENT, stream.Open(folder_.Get(), ""));
  EXPECT_EQ(EBADF, stream.Open(-1, "folder"));
}

TEST_F(DirectoryStreamTest, StaysWhereItIsWhenItCannotBeOpenedAnew) {
  test::PutFile(At("a/file"), "x");
  test::PutFile(At("b/other"), "x");
  DirectoryStream stream;
  ASSERT_EQ(0, stream.Open(folder_.Get(), "a"));
  EXPECT_EQ(ENOENT, stream.Open(folder_.Get(), "missing"));
  EXPECT_EQ(1U, ReadAll(&stream).count("file"));
  ASSERT_EQ(0, stream.Open(folder_.Get(), "b"));
  EXPECT_EQ(1U, ReadAll(&stream).count("other"));
}

TEST_F(DirectoryStreamTest, StartsAgain) {
  test::PutFile(At("a/first"), "x");
  DirectoryStream stream;
  ASSERT_EQ(0, stream.Open(folder_.Get(), "a"));
  EXPECT_EQ(1U, ReadAll(&stream).size());
  EXPECT_EQ(0U, ReadAll(&stream).size());
  test::PutFile(At("a/second"), "x");
  stream.Rewind();
  EXPECT_EQ(2U, ReadAll(&stream).size());
}

TEST_F(DirectoryStreamTest, TakesAnOldErrorNumberForNoError) {
  test::MakeDirs(At("a"));
  DirectoryStream stream;
  ASSERT_EQ(0, stream.Open(folder_.Get(), "a"));
  errno = EIO;
  EXPECT_EQ(0U, ReadAll(&stream).size());
}

TEST_F(DirectoryStreamTest, NeedsTheRightToRead) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::MakeDirs(At("a"));
  test::SetMode(At("a"), 0711);
  test::RunInChild([&] {
    ASSERT_EQ(0, ::seteuid(1001));
    DirectoryStream stream;
    EXPECT_EQ(EACCES, stream.Open(folder_.Get(), "a"));
  });
}

using IsFolderEntryTest = DirectoryStreamTest;

TEST_F(IsFolderEntryTest, BelievesWhatTheFileSystemTells) {
  EXPECT_TRUE(IsFolderEntry(folder_.Get(), "missing", DT_DIR));
  for (const unsigned char type : {DT_REG, DT_LNK, DT_FIFO, DT_SOCK, DT_CHR, DT_BLK}) {
    EXPECT_FALSE(IsFolderEntry(folder_.Get(), ".", type));
  }
}

TEST_F(IsFolderEntryTest, LooksWhereTheFileSystemDoesNotTell) {
  test::PutFile(At("file"), "x");
  test::MakeDirs(At("folder"));
  test::MakeLink(At("link"), "folder");
  EXPECT_TRUE(IsFolderEntry(folder_.Get(), "folder", DT_UNKNOWN));
  EXPECT_FALSE(IsFolderEntry(folder_.Get(), "file", DT_UNKNOWN));
  EXPECT_FALSE(IsFolderEntry(folder_.Get(), "link", DT_UNKNOWN));
  EXPECT_FALSE(IsFolderEntry(folder_.Get(), "missing", DT_UNKNOWN));
}

}  // namespace

}  // namespace platform
