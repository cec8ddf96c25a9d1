#include "platform/checked_file.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace platform {

namespace {

constexpr uid_t kUser = 1001;

bool IsOn(const UniqueFd& fd, const std::string& path) {
  struct stat ofDescriptor = {};
  struct stat ofPath = {};
  return ::fstat(fd.Get(), &ofDescriptor) == 0 && ::lstat(path.c_str(), &ofPath) == 0 &&
         ofDescriptor.st_dev == ofPath.st_dev && ofDescriptor.st_ino == ofPath.st_ino;
}

int AccessOf(const UniqueFd& fd) { return ::fcntl(fd.Get(), F_GETFL) & O_ACCMODE; }

class CheckedFileTest : public testing::Test {
 protected:
  [[nodiscard]] std::string At(const std::string& relative) const { return dir_.Join(relative); }

  // "fifo", "socket", "folder", and "device" where that can be made.
  void MakeOtherKinds() {
    test::MakeFifo(At("fifo"));
    test::MakeDirs(At("folder"));
    const UniqueFd listener(::socket(AF_UNIX, SOCK_STREAM, 0));
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    ASSERT_LT(At("socket").copy(address.sun_path, sizeof address.sun_path - 1),
              sizeof address.sun_path - 1);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the interface of bind
    ASSERT_EQ(0,
              ::bind(listener.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address));
    if (::geteuid() == 0) (void)::mknod(At("device").c_str(), S_IFCHR | 0666, 0);
  }

  // Locates and opens.
  [[nodiscard]] int OpenForWriting(const std::string& relative, LastLink lastLink,
                                   HardLinks hardLinks, UniqueFd* fd) const {
    LocatedItem item;
    const int error = LocateItem(At(relative), lastLink, &item);
    return error != 0 ? error : OpenFileForWriting(item, hardLinks, fd);
  }

  test::ScopedTempDir dir_;
};

using OpenFileForReadingTest = CheckedFileTest;

TEST_F(OpenFileForReadingTest, OpensARegularFile) {
  test::PutFile(At("file"), "abc");
  UniqueFd fd;
  ASSERT_EQ(0, OpenFileForReading(At("file"), &fd));
  EXPECT_TRUE(IsOn(fd, At("file")));
  EXPECT_EQ(O_RDONLY, AccessOf(fd));
  EXPECT_EQ(FD_CLOEXEC, ::fcntl(fd.Get(), F_GETFD));
}

TEST_F(OpenFileForReadingTest, FollowsLinks) {
  test::PutFile(At("sub/file"), "abc");
  test::MakeLink(At("link"), "folder/chain");
  test::MakeLink(At("folder"), "sub");
  test::MakeLink(At("sub/chain"), "file");
  UniqueFd fd;
  ASSERT_EQ(0, OpenFileForReading(At("link"), &fd));
  EXPECT_TRUE(IsOn(fd, At("sub/file")));
}

TEST_F(OpenFileForReadingTest, AllowsFurtherNames) {
  test::PutFile(At("file"), "abc");
  test::MakeHardLink(At("other"), At("file"));
  UniqueFd fd;
  EXPECT_EQ(0, OpenFileForReading(At("other"), &fd));
}

TEST_F(OpenFileForReadingTest, RefusesEveryOtherKindWithoutWaiting) {
  MakeOtherKinds();
  test::MakeLink(At("fifoLink"), "fifo");
  test::MakeLink(At("folderLink"), "folder");
  for (const std::string name :
       {"fifo", "socket", "folder", "folder/", "folder/.", "device", "fifoLink", "folderLink"}) {
    SCOPED_TRACE(name);
    if (!test::IsThere(At(name))) continue;
    UniqueFd fd;
    EXPECT_EQ(EINVAL, OpenFileForReading(At(name), &fd));
    EXPECT_FALSE(fd);
  }
}

TEST_F(OpenFileForReadingTest, FailsAsTheSystemDoesAndLeavesTheDescriptor) {
  test::PutFile(At("file"), "abc");
  test::MakeLink(At("dangling"), "missing");
  test::MakeLink(At("self"), "self");
  UniqueFd fd;
  ASSERT_EQ(0, OpenFileForReading(At("file"), &fd));
  const int before = fd.Get();
  EXPECT_EQ(ENOENT, OpenFileForReading(At("missing"), &fd));
  EXPECT_EQ(ENOENT, OpenFileForReading(At("dangling"), &fd));
  EXPECT_EQ(ELOOP, OpenFileForReading(At("self"), &fd));
  EXPECT_EQ(ENOTDIR, OpenFileForReading(At("file/"), &fd));
  EXPECT_EQ(ENOTDIR, OpenFileForReading(At("file/x"), &fd));
  EXPECT_EQ(ENOENT, OpenFileForReading("", &fd));
  EXPECT_EQ(EINVAL, OpenFileForReading(At(std::string("file\0", 5)), &fd));
  EXPECT_EQ(ENAMETOOLONG, OpenFileForReading(At(std::string(256, 'n')), &fd));
  EXPECT_EQ(before, fd.Get());
  EXPECT_NE(-1, ::fcntl(before, F_GETFD));
}

TEST_F(OpenFileForReadingTest, NeedsTheRightToRead) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::PutFile(At("file"), "abc");
  test::SetMode(At("file"), 0600);
  test::RunInChild([&] {
    ASSERT_EQ(0, ::seteuid(kUser));
    UniqueFd fd;
    EXPECT_EQ(EACCES, OpenFileForReading(At("file"), &fd));
  });
}

TEST_F(OpenFileForReadingTest, KeepsToTheOwnerRule) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::PutFile(At("roots"), "abc");
  test::PutFile(At("his"), "abc");
  test::SetOwner(At("his"), kUser, kUser);
  test::MakeLink(At("bad"), "roots");
  test::SetOwner(At("bad"), kUser, kUser);
  test::MakeLink(At("good"), "his");
  test::SetOwner(At("good"), kUser, kUser);
  UniqueFd fd;
  EXPECT_EQ(EACCES, OpenFileForReading(At("bad"), &fd));
  EXPECT_EQ(0, OpenFileForReading(At("good"), &fd));
}

using OpenFileForWritingTest = CheckedFileTest;

TEST_F(OpenFileForWritingTest, OpensAFileThatIsThereAndKeepsItsBytesAndMode) {
  test::PutFile(At("file"), "abc");
  test::SetMode(At("file"), 0640);
  for (const HardLinks hardLinks : {HardLinks::kAllow, HardLinks::kRefuse}) {
    UniqueFd fd;
    ASSERT_EQ(0, OpenForWriting("file", LastLink::kLeave, hardLinks, &fd));
    EXPECT_TRUE(IsOn(fd, At("file")));
    EXPECT_EQ(O_WRONLY, AccessOf(fd));
    EXPECT_EQ(FD_CLOEXEC, ::fcntl(fd.Get(), F_GETFD));
    EXPECT_EQ("abc", test::GetFile(At("file")));
    EXPECT_EQ(static_cast<mode_t>(0640), test::GetMode(At("file")));
  }
}

TEST_F(OpenFileForWritingTest, MakesAMissingFileWith0666LessTheUmask) {
  const struct {
    mode_t mask;
    mode_t expected;
  } rows[] = {{0, 0666}, {002, 0664}, {022, 0644}, {077, 0600}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.mask);
    const test::ScopedUmask mask(row.mask);
    UniqueFd fd;
    ASSERT_EQ(0, OpenForWriting("file", LastLink::kLeave, HardLinks::kRefuse, &fd));
    EXPECT_TRUE(IsOn(fd, At("file")));
    EXPECT_EQ(O_WRONLY, AccessOf(fd));
    EXPECT_EQ(FD_CLOEXEC, ::fcntl(fd.Get(), F_GETFD));
    EXPECT_EQ(row.expected, test::GetMode(At("file")));
    ASSERT_EQ(0, ::unlink(At("file").c_str()));
  }
}

TEST_F(OpenFileForWritingTest, RefusesALinkInTheLastPlaceAndLeavesItAlone) {
  test::PutFile(At("file"), "abc");
  test::MakeLink(At("link"), "file");
  test::MakeLink(At("dangling"), "missing");
  UniqueFd fd;
  EXPECT_EQ(ELOOP, OpenForWriting("link", LastLink::kLeave, HardLinks::kAllow, &fd));
  EXPECT_EQ(ELOOP, OpenForWriting("dangling", LastLink::kLeave, HardLinks::kAllow, &fd));
  EXPECT_FALSE(fd);
  EXPECT_EQ("file", test::GetLink(At("link")));
  EXPECT_EQ("missing", test::GetLink(At("dangling")));
  EXPECT_FALSE(test::IsThere(At("missing")));
}

TEST_F(OpenFileForWritingTest, OpensOrMakesTheTargetOfALinkThatWasFollowed) {
  test::PutFile(At("file"), "abc");
  test::MakeLink(At("link"), "file");
  test::MakeLink(At("dangling"), "missing");
  UniqueFd fd;
  ASSERT_EQ(0, OpenForWriting("link", LastLink::kFollow, HardLinks::kAllow, &fd));
  EXPECT_TRUE(IsOn(fd, At("file")));
  ASSERT_EQ(0, OpenForWriting("dangling", LastLink::kFollow, HardLinks::kAllow, &fd));
  EXPECT_TRUE(IsOn(fd, At("missing")));
}

TEST_F(OpenFileForWritingTest, RefusesAFileOfSeveralNamesOnRequest) {
  test::PutFile(At("file"), "abc");
  test::MakeHardLink(At("other"), At("file"));
  UniqueFd fd;
  EXPECT_EQ(EMLINK, OpenForWriting("file", LastLink::kLeave, HardLinks::kRefuse, &fd));
  EXPECT_FALSE(fd);
  EXPECT_EQ(0, OpenForWriting("file", LastLink::kLeave, HardLinks::kAllow, &fd));
}

TEST_F(OpenFileForWritingTest, RefusesEveryOtherKindWithoutWaiting) {
  MakeOtherKinds();
  for (const std::string name : {"fifo", "socket", "folder", "device"}) {
    SCOPED_TRACE(name);
    if (!test::IsThere(At(name))) continue;
    UniqueFd fd;
    EXPECT_EQ(EINVAL, OpenForWriting(name, LastLink::kLeave, HardLinks::kAllow, &fd));
    EXPECT_FALSE(fd);
  }
}

TEST_F(OpenFileForWritingTest, RefusesAPathThatCanOnlyNameAFolder) {
  test::PutFile(At("file"), "abc");
  test::MakeDirs(At("folder"));
  for (const std::string path : {"file/", "missing/", "folder/", "folder/.", "folder/.."}) {
    SCOPED_TRACE(path);
    UniqueFd fd;
    EXPECT_EQ(EISDIR, OpenForWriting(path, LastLink::kLeave, HardLinks::kAllow, &fd));
  }
  EXPECT_FALSE(test::IsThere(At("missing")));
}

TEST_F(OpenFileForWritingTest, FailsAsTheSystemDoes) {
  UniqueFd fd;
  EXPECT_EQ(ENAMETOOLONG,
            OpenForWriting(std::string(256, 'n'), LastLink::kLeave, HardLinks::kAllow, &fd));
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::PutFile(At("file"), "abc");
  test::RunInChild([&] {
    ASSERT_EQ(0, ::seteuid(kUser));
    EXPECT_EQ(EACCES, OpenForWriting("file", LastLink::kLeave, HardLinks::kAllow, &fd));
    EXPECT_EQ(EACCES, OpenForWriting("missing", LastLink::kLeave, HardLinks::kAllow, &fd));
  });
}

// The only way into the repetitions and the second look: somebody exchanges the item all the time.
TEST_F(OpenFileForWritingTest, NeverOpensWhatALinkOfACompetitorLeadsTo) {
  test::PutFile(At("canary"), "abc");
  LocatedItem item;
  ASSERT_EQ(0, LocateItem(At("item"), LastLink::kLeave, &item));
  std::atomic<bool> done = false;
  std::thread competitor([&] {
    const int folder = item.folder.Get();
    while (!done) {
      // EEXIST where the other side has just made the file.
      EXPECT_TRUE(::symlinkat("canary", folder, "item") == 0 || errno == EEXIST);
      (void)::unlinkat(folder, "item", 0);
      (void)::close(::openat(folder, "item", O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
      (void)::unlinkat(folder, "item", 0);
      (void)::mkfifo(At("item").c_str(), 0600);
      (void)::unlinkat(folder, "item", 0);
    }
  });
  for (int i = 0; i < 2000; ++i) {
    UniqueFd fd;
    const int error = OpenFileForWriting(item, HardLinks::kAllow, &fd);
    EXPECT_EQ(error == 0, static_cast<bool>(fd));
    if (!fd) continue;
    EXPECT_FALSE(IsOn(fd, At("canary")));
    struct stat status = {};
    EXPECT_EQ(0, ::fstat(fd.Get(), &status));
    EXPECT_TRUE(S_ISREG(status.st_mode));
  }
  done = true;
  competitor.join();
  EXPECT_EQ("abc", test::GetFile(At("canary")));
}

using ReadWholeFileTest = CheckedFileTest;

TEST_F(ReadWholeFileTest, ReadsEveryByte) {
  const std::string contents[] = {"", "a", std::string("a\0\n\xff", 4), std::string(16384, 'x'),
                                  std::string(100000, 'y')};
  for (const std::string& content : contents) {
    SCOPED_TRACE(content.size());
    test::PutFile(At("file"), content);
    std::string read = "old";
    EXPECT_EQ(0, ReadWholeFile(At("file"), 100000, &read));
    EXPECT_EQ(content, read);
  }
}

TEST_F(ReadWholeFileTest, RefusesMoreThanTheLimit) {
  const struct {
    std::size_t size;
    std::size_t limit;
    int error;
  } rows[] = {{0, 0, 0},         {1, 0, EFBIG},         {5, 5, 0},
              {6, 5, EFBIG},     {16384, 16384, 0},     {16385, 16384, EFBIG},
              {40000, 40000, 0}, {40001, 40000, EFBIG}, {100, SIZE_MAX, 0}};
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.size) + " of " + std::to_string(row.limit));
    test::PutFile(At("file"), std::string(row.size, 'x'));
    std::string content = "kept";
    EXPECT_EQ(row.error, ReadWholeFile(At("file"), row.limit, &content));
    EXPECT_EQ(row.error == 0 ? std::string(row.size, 'x') : "kept", content);
  }
}

TEST_F(ReadWholeFileTest, RefusesAHugeFileWithoutReadingItAll) {
  test::PutFile(At("file"), "");
  ASSERT_EQ(0, ::truncate(At("file").c_str(), off_t{1} << 36));
  std::string content;
  EXPECT_EQ(EFBIG, ReadWholeFile(At("file"), std::size_t{1} << 16, &content));
}

TEST_F(ReadWholeFileTest, ReadsRegularFilesOnly) {
  MakeOtherKinds();
  std::string content = "kept";
  EXPECT_EQ(EINVAL, ReadWholeFile(At("fifo"), 100, &content));
  EXPECT_EQ(EINVAL, ReadWholeFile(At("folder"), 100, &content));
  EXPECT_EQ(ENOENT, ReadWholeFile(At("missing"), 100, &content));
  EXPECT_EQ("kept", content);
}

}  // namespace

}  // namespace platform
