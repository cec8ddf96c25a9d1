#include "platform/file_creation.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "platform/system_calls_for_testing.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"
#include "tests/support/tree.h"

namespace platform {

namespace {

constexpr uid_t kUser = 1001;
constexpr mode_t kMasks[] = {0, 002, 022, 077, 0777};

using Names = std::vector<std::string>;

class FileCreationTest : public testing::Test {
 protected:
  [[nodiscard]] std::string At(const std::string& relative) const { return dir_.Join(relative); }
  [[nodiscard]] LocatedItem Locate(const std::string& name) const {
    LocatedItem item;
    EXPECT_EQ(0, LocateItem(At(name), LastLink::kLeave, &item));
    return item;
  }
  [[nodiscard]] int Create(const std::string& name, NewFileMode mode) {
    return CreateFile(Locate(name), O_WRONLY | O_APPEND | O_NOFOLLOW, mode, &fd_, &modeError_);
  }
  [[nodiscard]] int CreateForEverybody(const std::string& name) {
    return CreateFileForEverybody(Locate(name), O_WRONLY | O_APPEND | O_NOFOLLOW, &fd_,
                                  &modeError_);
  }
  // What is in the folder, in its order.
  [[nodiscard]] Names AllNames() const {
    Names names;
    for (const auto& [name, item] : test::ReadTree(dir_.Path())) {
      if (!name.empty()) names.push_back(name);
    }
    return names;
  }
  void ExpectOpen(const std::string& name) const {
    struct stat opened = {};
    struct stat here = {};
    EXPECT_EQ(0, ::fstat(fd_.Get(), &opened));
    EXPECT_EQ(0, ::lstat(At(name).c_str(), &here));
    EXPECT_EQ(here.st_ino, opened.st_ino);
    EXPECT_EQ(1U, here.st_nlink);
    EXPECT_TRUE(S_ISREG(here.st_mode));
    EXPECT_EQ(O_WRONLY | O_APPEND, ::fcntl(fd_.Get(), F_GETFL) & (O_ACCMODE | O_APPEND));
    EXPECT_EQ(FD_CLOEXEC, ::fcntl(fd_.Get(), F_GETFD));
  }
  // After a failure.
  void ExpectNothingOpen() const {
    EXPECT_FALSE(fd_);
    EXPECT_EQ(-1, modeError_);
  }

  test::ScopedTempDir dir_;
  UniqueFd fd_;
  int modeError_ = -1;
};

// Lets somebody act before the mode of a new file is set. One at a time.
class BeforeMode {
 public:
  explicit BeforeMode(std::function<void()> act) {
    Act() = std::move(act);
    calls_->fchmod = [](int fd, mode_t mode) {
      Act()();
      return ::fchmod(fd, mode);
    };
  }
  ~BeforeMode() { Act() = nullptr; }
  BeforeMode(const BeforeMode&) = delete;
  BeforeMode& operator=(const BeforeMode&) = delete;

 private:
  static std::function<void()>& Act() {
    static std::function<void()> act;
    return act;
  }

  ScopedSystemCalls calls_;
};

using CreateFileTest = FileCreationTest;

TEST_F(CreateFileTest, MakesAFileUnderTheUmaskOrForEverybody) {
  for (const mode_t mask : kMasks) {
    SCOPED_TRACE(mask);
    const test::ScopedUmask umask(mask);
    EXPECT_EQ(0, Create("narrow", NewFileMode::kUnderUmask));
    EXPECT_EQ(0, modeError_);
    ExpectOpen("narrow");
    EXPECT_EQ(static_cast<mode_t>(0666 & ~mask), test::GetMode(At("narrow")));
    EXPECT_EQ(0, Create("wide", NewFileMode::kEverybody));
    EXPECT_EQ(0, modeError_);
    ExpectOpen("wide");
    EXPECT_EQ(0666U, test::GetMode(At("wide")));
    EXPECT_EQ(0, ::unlink(At("narrow").c_str()));
    EXPECT_EQ(0, ::unlink(At("wide").c_str()));
  }
}

TEST_F(CreateFileTest, TakesNothingThatIsThere) {
  test::PutFile(At("file"), "abc");
  test::MakeLink(At("link"), "file");
  test::MakeLink(At("dangling"), "missing");
  test::MakeDirs(At("folder"));
  test::MakeFifo(At("fifo"));
  const test::Tree before = test::ReadTree(dir_.Path());
  for (const char* name : {"file", "link", "dangling", "folder", "fifo"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(EEXIST, Create(name, NewFileMode::kUnderUmask));
    EXPECT_EQ(EEXIST, Create(name, NewFileMode::kEverybody));
    EXPECT_EQ(EEXIST, CreateForEverybody(name));
    ExpectNothingOpen();
  }
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(dir_.Path())), Names{});
}

using CreateFileForEverybodyTest = FileCreationTest;

TEST_F(CreateFileForEverybodyTest, MakesAFileWith0666WhateverTheUmask) {
  for (const mode_t mask : kMasks) {
    SCOPED_TRACE(mask);
    const test::ScopedUmask umask(mask);
    EXPECT_EQ(0, CreateForEverybody("file"));
    EXPECT_EQ(0, modeError_);
    ExpectOpen("file");
    EXPECT_EQ(0666U, test::GetMode(At("file")));
    EXPECT_EQ(AllNames(), Names{"file"});
    EXPECT_EQ(0, ::unlink(At("file").c_str()));
  }
}

TEST_F(CreateFileForEverybodyTest, LeavesTheProcesssUmaskAlone) {
  const test::ScopedUmask umask(027);
  const BeforeMode look([&] {
    EXPECT_EQ(0, Create("meanwhile", NewFileMode::kUnderUmask));
    EXPECT_EQ(0640U, test::GetMode(At("meanwhile")));
  });
  EXPECT_EQ(0, CreateForEverybody("file"));
  EXPECT_TRUE(test::IsThere(At("meanwhile")));
}

TEST_F(CreateFileForEverybodyTest, ShowsTheNameOnlyWithTheMode) {
  const test::ScopedUmask umask(022);
  bool wasThere = true;
  const BeforeMode look([&] { wasThere = test::IsThere(At("file")); });
  EXPECT_EQ(0, CreateForEverybody("file"));
  EXPECT_FALSE(wasThere);
  EXPECT_TRUE(test::IsThere(At("file")));
}

TEST_F(CreateFileForEverybodyTest, LeavesNoFileOfAnotherModeWhenItIsKilled) {
  const test::ScopedUmask umask(022);
  for (int kill = 0; kill < 2; ++kill) {
    const pid_t child = ::fork();
    ASSERT_NE(-1, child);
    if (child == 0) {
      const BeforeMode end([] { (void)::raise(SIGKILL); });
      (void)CreateForEverybody("file");
      ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_FALSE(test::IsThere(At("file")));
  }
  const Names leftovers = AllNames();
  ASSERT_EQ(2U, leftovers.size());
  EXPECT_TRUE(leftovers[0].starts_with(".file.")) << leftovers[0];
  // The next creation removes them, and nothing else.
  const Names others = {".file.", ".file.0123456789abcde", ".other.0123456789abcdef",
                        "file.0123456789abcdef"};
  for (const std::string& name : others) test::PutFile(At(name), "");
  test::MakeDirs(At(".file.0123456789abcdef"));
  test::MakeLink(At(".file.0123456789abcdee"), "other");
  EXPECT_EQ(0, CreateForEverybody("file"));
  for (const std::string& name : leftovers) EXPECT_FALSE(test::IsThere(At(name)));
  EXPECT_EQ(7U, AllNames().size());
}

TEST_F(CreateFileForEverybodyTest, RemovesNoMoreThanSixteenLeftovers) {
  for (int i = 10; i < 60; ++i) test::PutFile(At(".new.00000000000000" + std::to_string(i)), "");
  const std::size_t before = test::ReadTree(dir_.Path()).size();
  UniqueFd fd;
  int modeError = -1;
  EXPECT_EQ(0, CreateFileForEverybody(Locate("new"), O_WRONLY, &fd, &modeError));
  EXPECT_EQ(before + 1 - 16, test::ReadTree(dir_.Path()).size());
}

TEST_F(CreateFileForEverybodyTest, LeavesTheNameToAnotherWhoWasFirst) {
  const BeforeMode race([&] {
    test::PutFile(At("file"), "his");
    test::SetMode(At("file"), 0600);
  });
  EXPECT_EQ(EEXIST, CreateForEverybody("file"));
  ExpectNothingOpen();
  EXPECT_EQ("his", test::GetFile(At("file")));
  EXPECT_EQ(0600U, test::GetMode(At("file")));
  EXPECT_EQ(AllNames(), Names{"file"});
}

// Two creators at once: the first to finish takes the other's temporary file for a leftover.
TEST_F(CreateFileForEverybodyTest, LosesToACreatorThatFinishesFirst) {
  bool isNested = false;
  UniqueFd winner;
  const BeforeMode race([&] {
    if (std::exchange(isNested, true)) return;
    int modeError = -1;
    EXPECT_EQ(0, CreateFileForEverybody(Locate("file"), O_WRONLY, &winner, &modeError));
    EXPECT_EQ(AllNames(), Names{"file"});
    // Even where its file has gone again.
    EXPECT_EQ(0, ::unlink(At("file").c_str()));
  });
  EXPECT_EQ(EEXIST, CreateForEverybody("file"));
  ExpectNothingOpen();
  EXPECT_EQ(AllNames(), Names{});
}

TEST_F(CreateFileForEverybodyTest, MakesTheFileAlsoWhereTheModeCannotBeSet) {
  const test::ScopedUmask umask(022);
  ScopedSystemCalls calls;
  calls->fchmod = [](int, mode_t) {
    errno = EPERM;
    return -1;
  };
  EXPECT_EQ(0, CreateForEverybody("file"));
  EXPECT_EQ(EPERM, modeError_);
  ExpectOpen("file");
  EXPECT_EQ(0644U, test::GetMode(At("file")));
}

TEST_F(CreateFileForEverybodyTest, SetsTheModeAgainWhereASignalInterrupts) {
  static int interruptions;
  interruptions = 2;
  ScopedSystemCalls calls;
  calls->fchmod = [](int fd, mode_t mode) {
    if (interruptions-- > 0) {
      errno = EINTR;
      return -1;
    }
    return ::fchmod(fd, mode);
  };
  EXPECT_EQ(0, CreateForEverybody("file"));
  EXPECT_EQ(0, modeError_);
  EXPECT_EQ(0666U, test::GetMode(At("file")));
}

TEST_F(CreateFileForEverybodyTest, MakesAFileWhoseNameHasNoRoomForATemporaryOne) {
  const std::string name(250, 'n');
  EXPECT_EQ(0, CreateForEverybody(name));
  ExpectOpen(name);
  EXPECT_EQ(0666U, test::GetMode(At(name)));
}

TEST_F(CreateFileForEverybodyTest, MakesAFileInAFolderThatCannotBeListed) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const LocatedItem item = Locate("file");
  test::SetOwner(dir_.Path(), kUser, kUser);
  test::SetMode(dir_.Path(), 0300);
  test::RunInChild([&] {
    ASSERT_EQ(0, ::seteuid(kUser));
    EXPECT_EQ(0, CreateFileForEverybody(item, O_WRONLY, &fd_, &modeError_));
  });
  EXPECT_EQ(0666U, test::GetMode(At("file")));
  test::SetMode(dir_.Path(), 0700);
}

TEST_F(CreateFileForEverybodyTest, FailsAsTheSystemDoes) {
  EXPECT_EQ(ENAMETOOLONG, CreateForEverybody(std::string(256, 'n')));
  ExpectNothingOpen();
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::RunInChild([&] {
    ASSERT_EQ(0, ::seteuid(kUser));
    EXPECT_EQ(EACCES, CreateForEverybody("file"));
    ExpectNothingOpen();
  });
  EXPECT_EQ(AllNames(), Names{});
}

}  // namespace

}  // namespace platform
