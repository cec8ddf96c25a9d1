#include "platform/checked_file.h"

#include <cerrno>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/path_walk.h"
#include "platform/unique_fd.h"
#include "tests/platform/posix/deny_system_calls.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"
#include "tests/support/tree.h"

// What else takes a competitor who never misses the moment.

namespace platform {

namespace {

class PosixCheckedFileTest : public testing::Test {
 protected:
  // Both openings fail with `expected` where the system answers `call` with `error`.
  void ExpectError(std::uint32_t call, std::uint32_t error, int expected) {
    test::PutFile(dir_.Join("file"), "abc");
    test::RunInChild([&] {
      LocatedItem item;
      ASSERT_EQ(0, LocateItem(dir_.Join("file"), LastLink::kLeave, &item));
      test::DenySystemCalls({call}, error);
      UniqueFd fd;
      int modeError = -1;
      EXPECT_EQ(expected, OpenFileForAppending(item, &fd, &modeError));
      EXPECT_EQ(-1, modeError);
      EXPECT_EQ(expected, OpenFileForWriting(item, HardLinks::kAllow, &fd));
      EXPECT_FALSE(fd);
    });
    EXPECT_EQ("abc", test::GetFile(dir_.Join("file")));
  }

  test::ScopedTempDir dir_;
};

#ifdef SYS_newfstatat
TEST_F(PosixCheckedFileTest, GivesUpOnAFileThatIsGoneForTheLookAndBackForTheCreation) {
  ExpectError(SYS_newfstatat, ENOENT, EEXIST);
}
#endif

TEST_F(PosixCheckedFileTest, GivesUpOnAFileThatIsGoneForTheOpening) {
  ExpectError(SYS_openat, ENOENT, ENOENT);
}

// As on file systems and kernels without such a rename.
TEST_F(PosixCheckedFileTest, MakesALogForEverybodyWhereNothingCanBeRenamedExclusively) {
  const test::ScopedUmask umask(022);
  for (const int error : {EINVAL, ENOSYS, EPERM}) {
    SCOPED_TRACE(error);
    test::RunInChild([&] {
      LocatedItem item;
      ASSERT_EQ(0, LocateItem(dir_.Join("log"), LastLink::kLeave, &item));
      test::DenySystemCalls({SYS_renameat2}, static_cast<std::uint32_t>(error));
      UniqueFd fd;
      int modeError = -1;
      EXPECT_EQ(0, OpenFileForAppending(item, &fd, &modeError));
      EXPECT_EQ(0, modeError);
      EXPECT_EQ(0, OpenFileForAppending(item, &fd, &modeError));
    });
    EXPECT_EQ(0666U, test::GetMode(dir_.Join("log")));
    EXPECT_EQ(2U, test::ReadTree(dir_.Path()).size());
    EXPECT_EQ(0, ::unlink(dir_.Join("log").c_str()));
  }
}

TEST_F(PosixCheckedFileTest, TellsWhyTheOpeningFails) { ExpectError(SYS_openat, EIO, EIO); }

}  // namespace

}  // namespace platform
