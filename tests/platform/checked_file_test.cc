#include "platform/checked_file.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <termios.h>
#include <thread>
#include <unistd.h>
#include <utility>

#include "platform/system_calls_for_testing.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"
#include "tests/support/tree.h"

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

// Lets somebody act around the first look at a descriptor in a scope. One at a time.
class AroundLook {
 public:
  AroundLook(std::function<void()> before, std::function<void()> after) {
    Acts() = {.before = std::move(before), .after = std::move(after)};
    calls_->fstat = [](int fd, struct stat* status) {
      const Both now = std::exchange(Acts(), {});
      if (now.before) now.before();
      const int result = ::fstat(fd, status);
      if (now.after) now.after();
      return result;
    };
  }
  ~AroundLook() { Acts() = {}; }
  AroundLook(const AroundLook&) = delete;
  AroundLook& operator=(const AroundLook&) = delete;

 private:
  struct Both {
    std::function<void()> before = nullptr;
    std::function<void()> after = nullptr;
  };
  static Both& Acts() {
    static Both acts;
    return acts;
  }

  ScopedSystemCalls calls_;
};

// Lets somebody act right after the first look at a name in a scope: between that look and the
// opening. One at a time.
class AfterFirstLook {
 public:
  explicit AfterFirstLook(std::function<void()> act) {
    Act() = std::move(act);
    calls_->fstatat = [](int folder, const char* name, struct stat* status, int flags) {
      const int result = ::fstatat(folder, name, status, flags);
      if (const auto now = std::exchange(Act(), nullptr)) now();
      return result;
    };
  }
  ~AfterFirstLook() { Act() = nullptr; }
  AfterFirstLook(const AfterFirstLook&) = delete;
  AfterFirstLook& operator=(const AfterFirstLook&) = delete;

 private:
  static std::function<void()>& Act() {
    static std::function<void()> act;
    return act;
  }

  ScopedSystemCalls calls_;
};

class CheckedFileTest : public testing::Test {
 protected:
  [[nodiscard]] std::string At(const std::string& relative) const { return dir_.Join(relative); }

  // "fifo", "socket", "folder", and "device" and "block" where those can be made.
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
    if (::geteuid() == 0) {
      (void)::mknod(At("device").c_str(), S_IFCHR | 0666, 0);
      (void)::mknod(At("block").c_str(), S_IFBLK | 0666, 0);
    }
  }

  // Locates and opens.
  [[nodiscard]] int OpenForWriting(const std::string& relative, LastLink lastLink,
                                   HardLinks hardLinks, UniqueFd* fd) const {
    LocatedItem item;
    const int error = LocateItem(At(relative), lastLink, &item);
    return error != 0 ? error : OpenFileForWriting(item, hardLinks, fd);
  }

  [[nodiscard]] int OpenForAppending(const std::string& path, UniqueFd* fd, int* modeError) const {
    LocatedItem item;
    const int error = LocateItem(path, LastLink::kLeave, &item);
    return error != 0 ? error : OpenFileForAppending(item, fd, modeError);
  }

  // Opens "item" again and again, while somebody exchanges it all the time: for a link to
  // "canary", for a file with mode 0600, for a FIFO, for nothing. Whatever comes of it must be a
  // regular file. The only way into the repetitions and the second look.
  void OpenBesideACompetitor(
      const std::function<int(const LocatedItem& item, UniqueFd* fd)>& open) const {
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
      const int error = open(item, &fd);
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

  // A second name of "canary" is opened, and has gone before anybody counts the names: the file
  // then has one, and is not the caller's all the same.
  void ExpectCanaryIsNeverTaken(
      const std::function<int(const LocatedItem& item, UniqueFd* fd)>& open) const {
    const std::string path = At("item");
    const std::string canary = At("canary");
    test::PutFile(canary, "abc");
    test::PutFile(At("good"), "");
    LocatedItem item;
    ASSERT_EQ(0, LocateItem(path, LastLink::kLeave, &item));
    UniqueFd fd;
    {
      SCOPED_TRACE("another file takes its place");
      test::MakeHardLink(path, canary);
      const AroundLook around([&] { EXPECT_EQ(0, ::rename(At("good").c_str(), path.c_str())); },
                              nullptr);
      EXPECT_EQ(0, open(item, &fd));
      EXPECT_TRUE(IsOn(fd, path));
      EXPECT_FALSE(IsOn(fd, canary));
      EXPECT_EQ(0, ::unlink(path.c_str()));
    }
    {
      SCOPED_TRACE("nothing takes its place");
      test::MakeHardLink(path, canary);
      const AroundLook around([&] { EXPECT_EQ(0, ::unlink(path.c_str())); }, nullptr);
      EXPECT_EQ(0, open(item, &fd));
      EXPECT_TRUE(IsOn(fd, path));
      EXPECT_FALSE(IsOn(fd, canary));
      EXPECT_EQ(0, ::unlink(path.c_str()));
    }
    {
      SCOPED_TRACE("it comes back");
      test::MakeHardLink(path, canary);
      const AroundLook around([&] { EXPECT_EQ(0, ::unlink(path.c_str())); },
                              [&] { test::MakeHardLink(path, canary); });
      fd.Reset();
      EXPECT_EQ(EMLINK, open(item, &fd));
      EXPECT_FALSE(fd);
    }
    EXPECT_EQ("abc", test::GetFile(canary));
  }

  test::ScopedTempDir dir_;
};

// Where somebody exchanges the file between the look and the opening.
using OpenExchangedFileTest = CheckedFileTest;

TEST_F(OpenExchangedFileTest, NeitherWaitsForAFifoNorTakesIt) {
  for (const int access : {O_RDONLY, O_WRONLY, O_RDWR}) {
    SCOPED_TRACE(access);
    test::PutFile(At("item"), "abc");
    test::RunInChild([&] {
      ::alarm(10);  // instead of waiting for ever
      const AfterFirstLook exchange([&] {
        EXPECT_EQ(0, ::unlink(At("item").c_str()));
        test::MakeFifo(At("item"));
      });
      UniqueFd fd;
      // One that nobody reads cannot be opened for writing, and is never seen.
      EXPECT_EQ(access == O_WRONLY ? ENXIO : EINVAL, OpenExistingFile(At("item"), access, &fd));
      EXPECT_FALSE(fd);
    });
    EXPECT_EQ(0, ::unlink(At("item").c_str()));
  }
}

TEST_F(OpenExchangedFileTest, FollowsNoLink) {
  test::PutFile(At("canary"), "abc");
  for (const int access : {O_RDONLY, O_WRONLY, O_RDWR}) {
    SCOPED_TRACE(access);
    test::PutFile(At("item"), "abc");
    const AfterFirstLook exchange([&] {
      EXPECT_EQ(0, ::unlink(At("item").c_str()));
      test::MakeLink(At("item"), "canary");
    });
    UniqueFd fd;
    EXPECT_EQ(ELOOP, OpenExistingFile(At("item"), access, &fd));
    EXPECT_FALSE(fd);
    EXPECT_EQ(0, ::unlink(At("item").c_str()));
  }
}

// The process has no controlling terminal yet and would get one by opening any.
TEST_F(OpenExchangedFileTest, GetsNoControllingTerminal) {
  const UniqueFd terminal(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
  if (!terminal || ::grantpt(terminal.Get()) != 0 || ::unlockpt(terminal.Get()) != 0) {
    GTEST_SKIP() << "no terminals on this system";
  }
  const std::string path = ::ptsname(terminal.Get());
  test::RunInChild([&] {
    ASSERT_NE(-1, ::setsid());
    // A file at the look, a terminal when it is opened.
    ScopedSystemCalls calls;
    calls->fstatat = [](int folder, const char* name, struct stat* status, int flags) {
      const int result = ::fstatat(folder, name, status, flags);
      status->st_mode = S_IFREG | 0666;
      return result;
    };
    for (const int access : {O_RDONLY, O_WRONLY, O_RDWR}) {
      SCOPED_TRACE(access);
      UniqueFd fd;
      EXPECT_EQ(EINVAL, OpenExistingFile(path, access, &fd));
      EXPECT_EQ(-1, ::tcgetsid(terminal.Get()));
    }
  });
}

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
  for (const std::string name : {"fifo", "socket", "folder", "folder/", "folder/.", "device",
                                 "block", "fifoLink", "folderLink"}) {
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

using OpenExistingFileTest = CheckedFileTest;

constexpr int kAccesses[] = {O_RDONLY, O_WRONLY, O_RDWR};

TEST_F(OpenExistingFileTest, OpensARegularFileWithTheAccessAndKeepsItsBytes) {
  test::PutFile(At("sub/file"), "abc");
  test::MakeLink(At("link"), "sub/file");
  for (const int access : kAccesses) {
    for (const std::string path : {"sub/file", "link"}) {
      SCOPED_TRACE(path + std::to_string(access));
      UniqueFd fd;
      ASSERT_EQ(0, OpenExistingFile(At(path), access, &fd));
      EXPECT_TRUE(IsOn(fd, At("sub/file")));
      EXPECT_EQ(access, AccessOf(fd));
      EXPECT_EQ(FD_CLOEXEC, ::fcntl(fd.Get(), F_GETFD));
      EXPECT_EQ("abc", test::GetFile(At("sub/file")));
    }
  }
}

TEST_F(OpenExistingFileTest, AllowsFurtherNames) {
  test::PutFile(At("file"), "abc");
  test::MakeHardLink(At("other"), At("file"));
  UniqueFd fd;
  EXPECT_EQ(0, OpenExistingFile(At("other"), O_RDWR, &fd));
}

TEST_F(OpenExistingFileTest, MakesNothing) {
  test::MakeLink(At("dangling"), "missing");
  for (const int access : kAccesses) {
    UniqueFd fd;
    EXPECT_EQ(ENOENT, OpenExistingFile(At("missing"), access, &fd));
    EXPECT_EQ(ENOENT, OpenExistingFile(At("dangling"), access, &fd));
    EXPECT_FALSE(fd);
  }
  EXPECT_FALSE(test::IsThere(At("missing")));
}

TEST_F(OpenExistingFileTest, RefusesEveryOtherKindWithoutWaiting) {
  MakeOtherKinds();
  for (const int access : kAccesses) {
    for (const std::string name : {"fifo", "socket", "folder", "device", "block"}) {
      SCOPED_TRACE(name + std::to_string(access));
      if (!test::IsThere(At(name))) continue;
      UniqueFd fd;
      EXPECT_EQ(EINVAL, OpenExistingFile(At(name), access, &fd));
      EXPECT_FALSE(fd);
    }
  }
}

TEST_F(OpenExistingFileTest, NeedsTheRightsOfTheAccess) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::PutFile(At("readable"), "abc");
  test::SetMode(At("readable"), 0644);
  test::PutFile(At("writable"), "abc");
  test::SetMode(At("writable"), 0622);
  test::RunInChild([&] {
    ASSERT_EQ(0, ::seteuid(kUser));
    UniqueFd fd;
    EXPECT_EQ(EACCES, OpenExistingFile(At("readable"), O_WRONLY, &fd));
    EXPECT_EQ(EACCES, OpenExistingFile(At("readable"), O_RDWR, &fd));
    EXPECT_EQ(EACCES, OpenExistingFile(At("writable"), O_RDONLY, &fd));
    EXPECT_EQ(EACCES, OpenExistingFile(At("writable"), O_RDWR, &fd));
    EXPECT_FALSE(fd);
    EXPECT_EQ(0, OpenExistingFile(At("readable"), O_RDONLY, &fd));
    EXPECT_EQ(0, OpenExistingFile(At("writable"), O_WRONLY, &fd));
  });
}

TEST_F(OpenExistingFileTest, KeepsToTheOwnerRule) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::PutFile(At("roots"), "abc");
  test::MakeLink(At("bad"), "roots");
  test::SetOwner(At("bad"), kUser, kUser);
  UniqueFd fd;
  EXPECT_EQ(EACCES, OpenExistingFile(At("bad"), O_RDWR, &fd));
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

TEST_F(OpenFileForWritingTest, NeverTakesAFileThatHadASecondNameWhenItWasOpened) {
  ExpectCanaryIsNeverTaken([](const LocatedItem& item, UniqueFd* fd) {
    return OpenFileForWriting(item, HardLinks::kRefuse, fd);
  });
}

TEST_F(OpenFileForWritingTest, RefusesEveryOtherKindWithoutWaiting) {
  MakeOtherKinds();
  for (const std::string name : {"fifo", "socket", "folder", "device", "block"}) {
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

TEST_F(OpenFileForWritingTest, NeverOpensWhatALinkOfACompetitorLeadsTo) {
  OpenBesideACompetitor([](const LocatedItem& item, UniqueFd* fd) {
    return OpenFileForWriting(item, HardLinks::kAllow, fd);
  });
}

using OpenFileForAppendingTest = CheckedFileTest;

TEST_F(OpenFileForAppendingTest, OpensAFileThatIsThereAndKeepsItsBytesAndMode) {
  test::PutFile(At("file"), "abc");
  test::SetMode(At("file"), 0640);
  UniqueFd fd;
  int modeError = -1;
  ASSERT_EQ(0, OpenForAppending(At("file"), &fd, &modeError));
  EXPECT_EQ(0, modeError);
  EXPECT_TRUE(IsOn(fd, At("file")));
  EXPECT_EQ(O_WRONLY, AccessOf(fd));
  EXPECT_EQ(FD_CLOEXEC, ::fcntl(fd.Get(), F_GETFD));
  EXPECT_EQ("abc", test::GetFile(At("file")));
  EXPECT_EQ(static_cast<mode_t>(0640), test::GetMode(At("file")));
}

TEST_F(OpenFileForAppendingTest, MakesAMissingFileWith0666WhateverTheUmask) {
  for (const mode_t mask : {mode_t{0}, mode_t{002}, mode_t{022}, mode_t{077}}) {
    SCOPED_TRACE(mask);
    const test::ScopedUmask umask(mask);
    UniqueFd fd;
    int modeError = -1;
    ASSERT_EQ(0, OpenForAppending(At("file"), &fd, &modeError));
    EXPECT_EQ(0, modeError);
    EXPECT_TRUE(IsOn(fd, At("file")));
    EXPECT_EQ(O_WRONLY, AccessOf(fd));
    EXPECT_EQ(FD_CLOEXEC, ::fcntl(fd.Get(), F_GETFD));
    EXPECT_EQ(static_cast<mode_t>(0666), test::GetMode(At("file")));
    ASSERT_EQ(0, ::unlink(At("file").c_str()));
  }
}

TEST_F(OpenFileForAppendingTest, TellsWhyTheModeOfANewFileCannotBeSet) {
  const test::ScopedUmask umask(022);
  ScopedSystemCalls calls;
  calls->fchmod = [](int, mode_t) {
    errno = EPERM;
    return -1;
  };
  UniqueFd fd;
  int modeError = -1;
  EXPECT_EQ(0, OpenForAppending(At("file"), &fd, &modeError));
  EXPECT_EQ(EPERM, modeError);
  EXPECT_TRUE(IsOn(fd, At("file")));
  EXPECT_EQ(static_cast<mode_t>(0644), test::GetMode(At("file")));
  EXPECT_EQ(0, OpenForAppending(At("file"), &fd, &modeError));
  EXPECT_EQ(0, modeError);
}

TEST_F(OpenFileForAppendingTest, OpensTheFileThatAnotherMakesMeanwhile) {
  static std::string path;
  path = At("file");
  ScopedSystemCalls calls;
  calls->fchmod = [](int fd, mode_t mode) {
    test::PutFile(path, "his");
    test::SetMode(path, 0600);
    return ::fchmod(fd, mode);
  };
  UniqueFd fd;
  int modeError = -1;
  EXPECT_EQ(0, OpenForAppending(path, &fd, &modeError));
  EXPECT_EQ(0, modeError);
  EXPECT_TRUE(IsOn(fd, path));
  EXPECT_EQ("his", test::GetFile(path));
  EXPECT_EQ(static_cast<mode_t>(0600), test::GetMode(path));
}

TEST_F(OpenFileForAppendingTest, WritesAtTheEndWhereverThatIsNow) {
  UniqueFd first;
  UniqueFd second;
  int modeError = -1;
  ASSERT_EQ(0, OpenForAppending(At("file"), &first, &modeError));
  ASSERT_EQ(0, OpenForAppending(At("file"), &second, &modeError));
  for (const UniqueFd* fd : {&first, &second, &first}) {
    EXPECT_EQ(O_APPEND, ::fcntl(fd->Get(), F_GETFL) & O_APPEND);
    EXPECT_EQ(0, ::lseek(fd->Get(), 0, SEEK_SET));
    EXPECT_EQ(3, ::write(fd->Get(), fd == &first ? "abc" : "xyz", 3));
  }
  EXPECT_EQ("abcxyzabc", test::GetFile(At("file")));
}

TEST_F(OpenFileForAppendingTest, OpensACharacterDevice) {
  UniqueFd fd;
  int modeError = -1;
  ASSERT_EQ(0, OpenForAppending("/dev/null", &fd, &modeError));
  EXPECT_EQ(0, modeError);
  EXPECT_TRUE(IsOn(fd, "/dev/null"));
  EXPECT_EQ(O_NONBLOCK, ::fcntl(fd.Get(), F_GETFL) & O_NONBLOCK);
  EXPECT_EQ(1, ::write(fd.Get(), "x", 1));
}

TEST_F(OpenFileForAppendingTest, NeverWaitsForADeviceThatTakesNothing) {
  const UniqueFd terminal(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
  if (!terminal || ::grantpt(terminal.Get()) != 0 || ::unlockpt(terminal.Get()) != 0) {
    GTEST_SKIP() << "no terminals on this system";
  }
  // Nobody reads from the other end.
  UniqueFd fd;
  int modeError = -1;
  ASSERT_EQ(0, OpenForAppending(::ptsname(terminal.Get()), &fd, &modeError));
  const std::string text(65536, 'x');
  ssize_t count = 0;
  while (count >= 0) count = ::write(fd.Get(), text.data(), text.size());
  EXPECT_EQ(EAGAIN, errno);
}

TEST_F(OpenFileForAppendingTest, RefusesEveryOtherKindWithoutWaiting) {
  MakeOtherKinds();
  for (const std::string name : {"fifo", "socket", "folder", "block"}) {
    SCOPED_TRACE(name);
    if (!test::IsThere(At(name))) continue;
    UniqueFd fd;
    int modeError = -1;
    EXPECT_EQ(EINVAL, OpenForAppending(At(name), &fd, &modeError));
    EXPECT_FALSE(fd);
    EXPECT_EQ(-1, modeError);
  }
}

TEST_F(OpenFileForAppendingTest, RefusesAPathThatCanOnlyNameAFolder) {
  test::PutFile(At("file"), "abc");
  test::MakeDirs(At("folder"));
  for (const std::string path : {"file/", "missing/", "folder/", "folder/.", "folder/.."}) {
    SCOPED_TRACE(path);
    UniqueFd fd;
    int modeError = -1;
    EXPECT_EQ(EISDIR, OpenForAppending(At(path), &fd, &modeError));
  }
  EXPECT_FALSE(test::IsThere(At("missing")));
}

TEST_F(OpenFileForAppendingTest, RefusesALinkInTheLastPlaceAndLeavesItAlone) {
  test::PutFile(At("file"), "abc");
  test::MakeLink(At("link"), "file");
  test::MakeLink(At("dangling"), "missing");
  test::MakeLink(At("device"), "/dev/null");
  UniqueFd fd;
  int modeError = -1;
  for (const std::string name : {"link", "dangling", "device"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(ELOOP, OpenForAppending(At(name), &fd, &modeError));
  }
  EXPECT_FALSE(fd);
  EXPECT_EQ(-1, modeError);
  EXPECT_EQ("file", test::GetLink(At("link")));
  EXPECT_EQ("missing", test::GetLink(At("dangling")));
  EXPECT_FALSE(test::IsThere(At("missing")));
}

TEST_F(OpenFileForAppendingTest, RefusesAFileOfSeveralNames) {
  test::PutFile(At("file"), "abc");
  test::MakeHardLink(At("other"), At("file"));
  UniqueFd fd;
  int modeError = -1;
  EXPECT_EQ(EMLINK, OpenForAppending(At("file"), &fd, &modeError));
  EXPECT_EQ(EMLINK, OpenForAppending(At("other"), &fd, &modeError));
  EXPECT_FALSE(fd);
  EXPECT_EQ(-1, modeError);
  ASSERT_EQ(0, ::unlink(At("other").c_str()));
  EXPECT_EQ(0, OpenForAppending(At("file"), &fd, &modeError));
}

TEST_F(OpenFileForAppendingTest, NeverTakesAFileThatHadASecondNameWhenItWasOpened) {
  ExpectCanaryIsNeverTaken([](const LocatedItem& item, UniqueFd* fd) {
    int modeError = -1;
    return OpenFileForAppending(item, fd, &modeError);
  });
}

TEST_F(OpenFileForAppendingTest, RefusesALinkThatTakesThePlaceOfTheOpenedFile) {
  test::PutFile(At("item"), "abc");
  // It leads to that very file.
  const AroundLook around(nullptr, [&] {
    EXPECT_EQ(0, ::rename(At("item").c_str(), At("aside").c_str()));
    test::MakeLink(At("item"), "aside");
  });
  UniqueFd fd;
  int modeError = -1;
  EXPECT_EQ(ELOOP, OpenForAppending(At("item"), &fd, &modeError));
  EXPECT_FALSE(fd);
}

TEST_F(OpenFileForAppendingTest, GivesUpWhereTheFileIsExchangedThreeTimes) {
  static int looks;
  static std::string path;
  looks = 0;
  path = At("item");
  test::PutFile(path, "");
  ScopedSystemCalls calls;
  calls->fstat = [](int fd, struct stat* status) {
    ++looks;
    test::PutFile(path + " next", "abc");
    EXPECT_EQ(0, ::rename((path + " next").c_str(), path.c_str()));
    return ::fstat(fd, status);
  };
  UniqueFd fd;
  int modeError = -1;
  EXPECT_EQ(EEXIST, OpenForAppending(path, &fd, &modeError));
  EXPECT_EQ(3, looks);
  EXPECT_FALSE(fd);
  EXPECT_EQ(-1, modeError);
  EXPECT_EQ("abc", test::GetFile(path));
}

TEST_F(OpenFileForAppendingTest, FailsAsTheSystemDoesAndLeavesTheOutputs) {
  test::PutFile(At("file"), "abc");
  UniqueFd fd;
  int modeError = -1;
  ASSERT_EQ(0, OpenForAppending(At("file"), &fd, &modeError));
  const int before = fd.Get();
  modeError = -1;
  EXPECT_EQ(ENAMETOOLONG, OpenForAppending(At(std::string(256, 'n')), &fd, &modeError));
  EXPECT_EQ(-1, modeError);
  EXPECT_EQ(before, fd.Get());
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::RunInChild([&] {
    ASSERT_EQ(0, ::seteuid(kUser));
    EXPECT_EQ(EACCES, OpenForAppending(At("file"), &fd, &modeError));
    EXPECT_EQ(EACCES, OpenForAppending(At("missing"), &fd, &modeError));
    EXPECT_EQ(-1, modeError);
    EXPECT_EQ(before, fd.Get());
  });
}

TEST_F(OpenFileForAppendingTest, NeverOpensWhatALinkOfACompetitorLeadsTo) {
  const test::ScopedUmask mask(022);
  ScopedSystemCalls calls;
  // A file of the competitor's, with mode 0600, is not taken for one that was made here.
  calls->fchmod = [](int fd, mode_t mode) {
    struct stat status = {};
    EXPECT_EQ(0, ::fstat(fd, &status));
    EXPECT_EQ(0644U, status.st_mode & 07777U);
    return ::fchmod(fd, mode);
  };
  OpenBesideACompetitor([](const LocatedItem& item, UniqueFd* fd) {
    int modeError = -1;
    return OpenFileForAppending(item, fd, &modeError);
  });
  (void)::unlink(At("item").c_str());
  EXPECT_EQ(2U, test::ReadTree(dir_.Path()).size()) << "the folder and the canary";
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
