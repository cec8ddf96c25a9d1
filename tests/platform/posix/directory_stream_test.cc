#include "platform/directory_stream.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

#include "platform/unique_fd.h"
#include "tests/support/files.h"
#include "tests/support/scoped_temp_dir.h"

// What Linux answers in these cases.

namespace platform {

namespace {

class PosixDirectoryStreamTest : public testing::Test {
 protected:
  void SetUp() override {
    folder_.Reset(::open(dir_.Path().c_str(), O_PATH | O_CLOEXEC));
    ASSERT_TRUE(folder_);
  }
  [[nodiscard]] std::string At(const std::string& relative) const { return dir_.Join(relative); }
  test::ScopedTempDir dir_;
  UniqueFd folder_;
};

TEST_F(PosixDirectoryStreamTest, OpensAnEntryOfAFolderThatIsAHandleAlone) {
  test::PutFile(At("a/file"), "x");
  DirectoryStream stream;
  ASSERT_EQ(0, stream.Open(folder_.Get(), "a"));
  const char* name = nullptr;
  unsigned char type = DT_UNKNOWN;
  EXPECT_EQ(0, stream.Next(&name, &type));
  EXPECT_STREQ("file", name);
}

TEST_F(PosixDirectoryStreamTest, EndsInAFolderThatWasRemoved) {
  test::MakeDirs(At("a"));
  DirectoryStream stream;
  ASSERT_EQ(0, stream.Open(folder_.Get(), "a"));
  ASSERT_EQ(0, ::rmdir(At("a").c_str()));
  const char* name = "changed";
  unsigned char type = DT_UNKNOWN;
  EXPECT_EQ(0, stream.Next(&name, &type));
  EXPECT_EQ(nullptr, name);
}

TEST_F(PosixDirectoryStreamTest, TellsAFailureToRead) {
  test::PutFile(At("a/file"), "x");
  DirectoryStream stream;
  ASSERT_EQ(0, stream.Open(folder_.Get(), "a"));
  const UniqueFd file(::open(At("a/file").c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_EQ(stream.Fd(), ::dup2(file.Get(), stream.Fd()));
  const char* name = "kept";
  unsigned char type = DT_BLK;
  EXPECT_EQ(ENOTDIR, stream.Next(&name, &type));
  EXPECT_STREQ("kept", name);
  EXPECT_EQ(DT_BLK, type);
}

}  // namespace

}  // namespace platform
