#include "platform/system_calls.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <ctime>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <string>
#include <sys/file.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "platform/system_calls_for_testing.h"
#include "platform/unique_fd.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace platform {

namespace {

class SystemCallsTest : public testing::Test {
 protected:
  void SetUp() override {
    folder_.Reset(::open(dir_.Path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_TRUE(folder_);
  }
  test::ScopedTempDir dir_;
  UniqueFd folder_;
};

TEST_F(SystemCallsTest, WriteSyncCutModeAndCloseAreTheSystemsOwn) {
  const int fd = ::openat(folder_.Get(), "f", O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_LE(0, fd);
  EXPECT_EQ(4, Calls().write(fd, "abcd", 4));
  EXPECT_EQ(0, Calls().ftruncate(fd, 3));
  EXPECT_EQ(0, Calls().fsync(fd));
  EXPECT_EQ(0, Calls().fchmod(fd, 0640));
  EXPECT_EQ(0, Calls().close(fd));
  EXPECT_EQ("abc", test::GetFile(dir_.Join("f")));
  EXPECT_EQ(static_cast<mode_t>(0640), test::GetMode(dir_.Join("f")));
  EXPECT_EQ(-1, Calls().write(fd, "d", 1));
  EXPECT_EQ(EBADF, errno);
  EXPECT_EQ(-1, Calls().fsync(fd));
  EXPECT_EQ(-1, Calls().ftruncate(fd, 0));
  EXPECT_EQ(-1, Calls().fchmod(fd, 0600));
  EXPECT_EQ(-1, Calls().fchown(fd, 0, 0));
  EXPECT_EQ(-1, Calls().close(fd));
}

TEST_F(SystemCallsTest, ReadIsTheSystemsOwn) {
  test::PutFile(dir_.Join("f"), "abc");
  const UniqueFd fd(::openat(folder_.Get(), "f", O_RDONLY | O_CLOEXEC));
  char bytes[4] = {};
  EXPECT_EQ(3, Calls().read(fd.Get(), bytes, sizeof bytes));
  EXPECT_STREQ("abc", bytes);
  EXPECT_EQ(-1, Calls().read(-1, bytes, sizeof bytes));
  EXPECT_EQ(EBADF, errno);
}

TEST_F(SystemCallsTest, FchmodatIsTheSystemsOwn) {
  test::PutFile(dir_.Join("f"), "");
  EXPECT_EQ(0, Calls().fchmodat(folder_.Get(), "f", 0640, 0));
  EXPECT_EQ(static_cast<mode_t>(0640), test::GetMode(dir_.Join("f")));
  EXPECT_EQ(-1, Calls().fchmodat(folder_.Get(), "missing", 0640, 0));
  EXPECT_EQ(ENOENT, errno);
}

TEST_F(SystemCallsTest, SleepIsTheSystemsOwn) {
  constexpr timespec kNothing = {.tv_sec = 0, .tv_nsec = 0};
  constexpr timespec kNone = {.tv_sec = 0, .tv_nsec = -1};
  EXPECT_EQ(0, Calls().nanosleep(&kNothing, nullptr));
  EXPECT_EQ(-1, Calls().nanosleep(&kNone, nullptr));
  EXPECT_EQ(EINVAL, errno);
}

TEST_F(SystemCallsTest, ClockIsTheSystemsOwn) {
  timespec before = {};
  timespec after = {};
  EXPECT_EQ(0, Calls().clockGettime(CLOCK_MONOTONIC, &before));
  EXPECT_EQ(0, ::clock_gettime(CLOCK_MONOTONIC, &after));
  EXPECT_LE(before.tv_sec, after.tv_sec);
  EXPECT_LE(after.tv_sec, before.tv_sec + 20);
}

TEST_F(SystemCallsTest, FstatIsTheSystemsOwn) {
  test::PutFile(dir_.Join("f"), "abc");
  const UniqueFd fd(::openat(folder_.Get(), "f", O_RDONLY | O_CLOEXEC));
  struct stat status = {};
  EXPECT_EQ(0, Calls().fstat(fd.Get(), &status));
  EXPECT_EQ(3, status.st_size);
  EXPECT_EQ(-1, Calls().fstat(-1, &status));
  EXPECT_EQ(EBADF, errno);
}

TEST_F(SystemCallsTest, FstatatIsTheSystemsOwn) {
  test::PutFile(dir_.Join("f"), "abc");
  test::MakeLink(dir_.Join("link"), "f");
  struct stat status = {};
  EXPECT_EQ(0, Calls().fstatat(folder_.Get(), "link", &status, 0));
  EXPECT_EQ(3, status.st_size);
  EXPECT_EQ(0, Calls().fstatat(folder_.Get(), "link", &status, AT_SYMLINK_NOFOLLOW));
  EXPECT_TRUE(S_ISLNK(status.st_mode));
  EXPECT_EQ(-1, Calls().fstatat(folder_.Get(), "missing", &status, 0));
  EXPECT_EQ(ENOENT, errno);
}

TEST_F(SystemCallsTest, FchownIsTheSystemsOwn) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  test::PutFile(dir_.Join("f"), "");
  const UniqueFd fd(::openat(folder_.Get(), "f", O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(0, Calls().fchown(fd.Get(), 1001, 1002));
  EXPECT_EQ(1001U, test::GetOwner(dir_.Join("f")));
  EXPECT_EQ(1002U, test::GetGroup(dir_.Join("f")));
}

TEST_F(SystemCallsTest, RenamingAndRemovalAreTheSystemsOwn) {
  test::PutFile(dir_.Join("a"), "x");
  test::MakeDirs(dir_.Join("sub"));
  EXPECT_EQ(0, Calls().renameat(folder_.Get(), "a", folder_.Get(), "b"));
  EXPECT_EQ("x", test::GetFile(dir_.Join("b")));
  EXPECT_FALSE(test::IsThere(dir_.Join("a")));
  EXPECT_EQ(0, Calls().unlinkat(folder_.Get(), "b", 0));
  EXPECT_FALSE(test::IsThere(dir_.Join("b")));
  EXPECT_EQ(0, Calls().remove(dir_.Join("sub").c_str()));
  EXPECT_FALSE(test::IsThere(dir_.Join("sub")));
  EXPECT_EQ(-1, Calls().remove(dir_.Join("sub").c_str()));
  EXPECT_EQ(ENOENT, errno);
}

TEST_F(SystemCallsTest, BasenameAndDirnameDropTrailingSlashes) {
  const struct {
    const char* path;
    const char* base;
    const char* folder;
  } rows[] = {
      {"/a/b", "b", "/a"}, {"/a/b/", "b", "/a"}, {"/a", "a", "/"}, {"a", "a", "."},
      {"a/", "a", "."},    {"/", "/", "/"},      {"", ".", "."},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    std::string forBase = row.path;
    std::string forFolder = row.path;
    EXPECT_STREQ(row.base, Calls().basename(forBase.data()));
    EXPECT_STREQ(row.folder, Calls().dirname(forFolder.data()));
  }
}

TEST_F(SystemCallsTest, FlockIsTheSystemsOwn) {
  test::PutFile(dir_.Join("f"), "");
  const UniqueFd first(::openat(folder_.Get(), "f", O_RDONLY | O_CLOEXEC));
  const UniqueFd second(::openat(folder_.Get(), "f", O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(0, Calls().flock(first.Get(), LOCK_EX | LOCK_NB));
  EXPECT_EQ(-1, Calls().flock(second.Get(), LOCK_EX | LOCK_NB));
  EXPECT_EQ(EWOULDBLOCK, errno);
}

TEST(SystemCalls, RandomNumbersAreTheSystemsOwn) {
  std::array<unsigned char, 16> none = {};
  std::array<unsigned char, 16> first = {};
  std::array<unsigned char, 16> second = {};
  EXPECT_EQ(0, Calls().getentropy(first.data(), first.size()));
  EXPECT_EQ(0, Calls().getentropy(second.data(), second.size()));
  EXPECT_NE(none, first);
  EXPECT_NE(first, second);
  EXPECT_EQ(-1, Calls().getentropy(first.data(), 257));
}

TEST(SystemCalls, AccountLookupsAreTheSystemsOwn) {
  const passwd* const own = ::getpwuid(::geteuid());
  if (own == nullptr) GTEST_SKIP() << "this process's user has no account";
  const std::string name = own->pw_name;
  const std::string home = own->pw_dir;
  std::string buffer(std::size_t{1} << 20, '\0');
  passwd entry = {};
  passwd* found = nullptr;
  EXPECT_EQ(0, Calls().getpwnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found));
  ASSERT_EQ(&entry, found);
  EXPECT_EQ(home, entry.pw_dir);
  found = nullptr;
  EXPECT_EQ(0, Calls().getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found));
  ASSERT_EQ(&entry, found);
  EXPECT_EQ(home, entry.pw_dir);
  EXPECT_EQ(ERANGE, Calls().getpwuid_r(::geteuid(), &entry, buffer.data(), 1, &found));
  EXPECT_EQ(nullptr, found);
}

TEST(SystemCalls, UnameIsTheSystemsOwn) {
  utsname own = {};
  ASSERT_EQ(0, ::uname(&own));
  utsname names = {};
  EXPECT_EQ(0, Calls().uname(&names));
  EXPECT_STREQ(own.machine, names.machine);
  EXPECT_STREQ(own.release, names.release);
}

TEST(SystemCalls, SemaphoreCallsAreTheSystemsOwn) {
  const int set = Calls().semget(IPC_PRIVATE, 2, IPC_CREAT | 0600);
  if (set == -1 && errno == ENOSYS) GTEST_SKIP() << "no semaphores on this system";
  ASSERT_NE(-1, set);
  EXPECT_EQ(0, Calls().semctl(set, 1, SETVAL, {.val = 3}));
  EXPECT_EQ(3, Calls().semctl(set, 1, GETVAL, {}));
  unsigned short values[] = {7, 8};
  EXPECT_EQ(0, Calls().semctl(set, 0, GETALL, {.array = values}));
  EXPECT_EQ(0, values[0]);
  EXPECT_EQ(3, values[1]);
  semid_ds status = {};
  EXPECT_EQ(0, Calls().semctl(set, 0, IPC_STAT, {.buf = &status}));
  EXPECT_EQ(2U, status.sem_nsems);

  sembuf operations[] = {{.sem_num = 0, .sem_op = 1, .sem_flg = 0},
                         {.sem_num = 1, .sem_op = -2, .sem_flg = IPC_NOWAIT}};
  EXPECT_EQ(0, Calls().semop(set, operations, 2));
  EXPECT_EQ(1, Calls().semctl(set, 0, GETVAL, {}));
  EXPECT_EQ(1, Calls().semctl(set, 1, GETVAL, {}));
  EXPECT_EQ(-1, Calls().semop(set, operations, 2));
  EXPECT_EQ(EAGAIN, errno);

  constexpr timespec kNoTime = {.tv_sec = 0, .tv_nsec = 0};
  sembuf waiting = {.sem_num = 1, .sem_op = -2, .sem_flg = 0};
  EXPECT_EQ(-1, Calls().semtimedop(set, &waiting, 1, &kNoTime));
  EXPECT_EQ(EAGAIN, errno);
  waiting.sem_op = -1;
  EXPECT_EQ(0, Calls().semtimedop(set, &waiting, 1, &kNoTime));
  EXPECT_EQ(0, Calls().semctl(set, 1, GETVAL, {}));

  EXPECT_EQ(0, Calls().semctl(set, 0, IPC_RMID, {}));
  EXPECT_EQ(-1, Calls().semctl(set, 0, GETVAL, {}));
  EXPECT_EQ(-1, Calls().semop(set, operations, 1));
  EXPECT_EQ(-1, Calls().semget(IPC_PRIVATE, -1, IPC_CREAT | 0600));
  EXPECT_EQ(EINVAL, errno);
}

TEST(ScopedSystemCalls, ReplacesOneCallAndKeepsTheRest) {
  const auto realClose = Calls().close;
  {
    ScopedSystemCalls calls;
    EXPECT_FALSE(SystemCallsAreDefaultForTesting());
    calls->fsync = [](int) {
      errno = EIO;
      return -1;
    };
    EXPECT_EQ(-1, Calls().fsync(-1));
    EXPECT_EQ(EIO, errno);
    EXPECT_EQ(realClose, Calls().close);
  }
  EXPECT_TRUE(SystemCallsAreDefaultForTesting());
  EXPECT_EQ(-1, Calls().fsync(-1));
  EXPECT_EQ(EBADF, errno);
}

TEST(ScopedSystemCalls, Nests) {
  ScopedSystemCalls outer;
  outer->fsync = [](int) { return 1; };
  outer->fchmod = [](int, mode_t) { return 1; };
  {
    ScopedSystemCalls inner;
    inner->fsync = [](int) { return 2; };
    EXPECT_EQ(2, Calls().fsync(-1));
    EXPECT_EQ(1, Calls().fchmod(-1, 0));
  }
  EXPECT_EQ(1, Calls().fsync(-1));
  EXPECT_FALSE(SystemCallsAreDefaultForTesting());
}

}  // namespace

}  // namespace platform
