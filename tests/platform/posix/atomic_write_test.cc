#include "platform/atomic_write.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <vector>

#include "platform/path_walk.h"
#include "platform/posix/atomic_write_at.h"
#include "platform/system_calls_for_testing.h"
#include "platform/unique_fd.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"
#include "tests/support/tree.h"

namespace platform {
namespace {

using Names = std::set<std::string>;

Names NamesIn(const std::string& folder) {
  Names names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.insert(entry.path().filename());
  }
  return names;
}

bool IsFolder(int fd) {
  struct stat status = {};
  EXPECT_EQ(fstat(fd, &status), 0);
  return S_ISDIR(status.st_mode);
}

template <int kError>
int Fail() {
  errno = kError;
  return -1;
}

ssize_t WriteNothing(int, const void*, std::size_t) { return Fail<ENOSPC>(); }

// The first call writes one byte, every later one finds no room.
bool wroteOnce = false;
ssize_t WriteOnce(int fd, const void* bytes, std::size_t) {
  if (wroteOnce) return Fail<ENOSPC>();
  wroteOnce = true;
  return write(fd, bytes, 1);
}

int CloseAndFail(int fd) {
  EXPECT_EQ(close(fd), 0);
  return Fail<EIO>();
}

int FailToSyncFiles(int fd) { return IsFolder(fd) ? fsync(fd) : Fail<EIO>(); }

struct Fault {
  const char* name;
  void (*arrange)(SystemCalls* calls);
};

constexpr Fault kFaults[] = {
    {"no room", [](SystemCalls* calls) { calls->write = WriteNothing; }},
    {"no room after a short write", [](SystemCalls* calls) { calls->write = WriteOnce; }},
    {"a write that never gets anywhere",
     [](SystemCalls* calls) {
       calls->write = [](int, const void*, std::size_t) -> ssize_t { return 0; };
     }},
    {"sync", [](SystemCalls* calls) { calls->fsync = FailToSyncFiles; }},
    {"close", [](SystemCalls* calls) { calls->close = CloseAndFail; }},
    {"rename",
     [](SystemCalls* calls) {
       calls->renameat = [](int, const char*, int, const char*) { return Fail<EACCES>(); };
     }},
    {"look at the temporary file",
     [](SystemCalls* calls) { calls->fstat = [](int, struct stat*) { return Fail<EIO>(); }; }},
    {"random number",
     [](SystemCalls* calls) {
       calls->getentropy = [](void*, std::size_t) { return Fail<ENOSYS>(); };
     }},
    {"every name's lock kept by others",
     [](SystemCalls* calls) { calls->flock = [](int, int) { return Fail<EWOULDBLOCK>(); }; }},
    {"mode", [](SystemCalls* calls) { calls->fchmod = [](int, mode_t) { return Fail<EPERM>(); }; }},
};

TEST(WriteFileAtomically, KeepsTheOldBytesAndNoOtherFileWhateverFails) {
  for (const Fault& fault : kFaults) {
    SCOPED_TRACE(fault.name);
    const test::ScopedTempDir dir;
    test::PutFile(dir.Join("file"), "old");
    wroteOnce = false;
    {
      ScopedSystemCalls calls;
      fault.arrange(calls.operator->());
      EXPECT_FALSE(WriteFileAtomically(dir.Join("file"), "new"));
    }
    EXPECT_EQ(test::GetFile(dir.Join("file")), "old");
    EXPECT_EQ(test::GetMode(dir.Join("file")), 0644U);
    EXPECT_EQ(NamesIn(dir.Path()), Names({"file"}));
  }
}

TEST(WriteFileAtomically, LeavesNothingWhereThereWasNothingAndItFails) {
  for (const Fault& fault : kFaults) {
    if (fault.name == std::string("mode")) continue;  // a new file has its mode from the start
    SCOPED_TRACE(fault.name);
    const test::ScopedTempDir dir;
    wroteOnce = false;
    {
      ScopedSystemCalls calls;
      fault.arrange(calls.operator->());
      EXPECT_FALSE(WriteFileAtomically(dir.Join("file"), "new"));
    }
    EXPECT_EQ(NamesIn(dir.Path()), Names());
  }
}

TEST(WriteFileAtomically, GoesOnAfterShortAndInterruptedWrites) {
  const test::ScopedTempDir dir;
  ScopedSystemCalls calls;
  calls->write = [](int fd, const void* bytes, std::size_t) -> ssize_t {
    static bool interrupt = false;
    interrupt = !interrupt;
    return interrupt ? Fail<EINTR>() : write(fd, bytes, 1);
  };
  EXPECT_TRUE(WriteFileAtomically(dir.Join("file"), "all of it"));
  EXPECT_EQ(test::GetFile(dir.Join("file")), "all of it");
}

TEST(WriteFileAtomically, IsContentWhereTheFileSystemHasNoSync) {
  const test::ScopedTempDir dir;
  ScopedSystemCalls calls;
  calls->fsync = [](int) { return Fail<EINVAL>(); };
  EXPECT_TRUE(WriteFileAtomically(dir.Join("file"), "new"));
  EXPECT_EQ(test::GetFile(dir.Join("file")), "new");
}

TEST(WriteFileAtomically, FailsOnceAndForAllWhereTheFolderCannotBeSynced) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), "old");
  static int folderSyncs;
  folderSyncs = 0;
  ScopedSystemCalls calls;
  calls->fsync = [](int fd) {
    if (!IsFolder(fd)) return fsync(fd);
    ++folderSyncs;
    return Fail<EIO>();
  };
  EXPECT_FALSE(WriteFileAtomically(dir.Join("file"), "new"));
  EXPECT_EQ(folderSyncs, 1);
  // The new name may or may not outlive a crash now; readers see whole content either way.
  EXPECT_EQ(test::GetFile(dir.Join("file")), "new");
  EXPECT_EQ(NamesIn(dir.Path()), Names({"file"}));
}

// What the calls saw, in their order.
struct Seen {
  inline static std::vector<std::string> calls;
  inline static std::string temporaryName;
  inline static mode_t modeWhileWriting;

  static void Clear() {
    calls.clear();
    temporaryName.clear();
    modeWhileWriting = 0;
  }
};

// Whether somebody else can lock the file.
bool CanBeLocked(int folder, const char* name) {
  const UniqueFd file(openat(folder, name, O_RDONLY | O_CLOEXEC));
  EXPECT_TRUE(file);
  return flock(file.Get(), LOCK_EX | LOCK_NB) == 0;
}

void WatchCalls(SystemCalls* calls) {
  Seen::Clear();
  calls->write = [](int fd, const void* bytes, std::size_t count) {
    struct stat status = {};
    EXPECT_EQ(fstat(fd, &status), 0);
    Seen::modeWhileWriting = status.st_mode & 07777U;
    Seen::calls.emplace_back("write");
    return write(fd, bytes, count);
  };
  calls->fchmod = [](int fd, mode_t mode) {
    Seen::calls.emplace_back("mode");
    return fchmod(fd, mode);
  };
  calls->fsync = [](int fd) {
    Seen::calls.emplace_back(IsFolder(fd) ? "sync folder" : "sync file");
    return fsync(fd);
  };
  calls->close = [](int fd) {
    Seen::calls.emplace_back("close");
    return close(fd);
  };
  calls->renameat = [](int oldFolder, const char* oldName, int newFolder, const char* newName) {
    Seen::calls.emplace_back("rename");
    Seen::temporaryName = oldName;
    EXPECT_FALSE(CanBeLocked(oldFolder, oldName));
    return renameat(oldFolder, oldName, newFolder, newName);
  };
  calls->unlinkat = [](int folder, const char* name, int flags) {
    Seen::calls.emplace_back("remove");
    return unlinkat(folder, name, flags);
  };
}

TEST(WriteFileAtomically, SyncsBeforeItClosesAndClosesBeforeItRenames) {
  const test::ScopedTempDir dir;
  ScopedSystemCalls calls;
  WatchCalls(calls.operator->());
  EXPECT_TRUE(WriteFileAtomically(dir.Join("file"), "new"));
  EXPECT_EQ(Seen::calls,
            std::vector<std::string>({"write", "sync file", "close", "rename", "sync folder"}));
}

TEST(WriteFileAtomically, SyncsTheModeThatItKeeps) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), "old");
  ScopedSystemCalls calls;
  WatchCalls(calls.operator->());
  EXPECT_TRUE(WriteFileAtomically(dir.Join("file"), "new"));
  EXPECT_EQ(Seen::calls, std::vector<std::string>(
                             {"write", "mode", "sync file", "close", "rename", "sync folder"}));
}

TEST(WriteFileAtomically, KeepsTheBytesToItselfUntilTheModeIsRight) {
  const test::ScopedTempDir dir;
  const test::ScopedUmask mask(0);
  test::PutFile(dir.Join("file"), "old");
  test::SetMode(dir.Join("file"), 0400);
  ScopedSystemCalls calls;
  WatchCalls(calls.operator->());
  EXPECT_TRUE(WriteFileAtomically(dir.Join("file"), "secret"));
  EXPECT_EQ(Seen::modeWhileWriting, 0600U);
  EXPECT_EQ(test::GetMode(dir.Join("file")), 0400U);
}

TEST(WriteFileAtomically, FailsAtAnythingButAFileOrALinkAndLeavesIt) {
  const test::ScopedTempDir dir;
  test::MakeDirs(dir.Join("empty"));
  test::PutFile(dir.Join("full/file"), "content");
  test::MakeFifo(dir.Join("fifo"));
  ASSERT_EQ(mknod(dir.Join("socket").c_str(), S_IFSOCK | 0644, 0), 0);
  const test::Tree before = test::ReadTree(dir.Path());
  for (const std::string name : {"empty", "full", "fifo", "socket", ".", ""}) {
    SCOPED_TRACE(name);
    EXPECT_FALSE(WriteFileAtomically(dir.Join(name), "new"));
  }
  EXPECT_EQ(test::ReadTree(dir.Path()), before);
}

TEST(WriteFileAtomically, HidesItsTemporaryFileUnderANewShortNameEachTime) {
  const test::ScopedTempDir dir;
  ScopedSystemCalls calls;
  WatchCalls(calls.operator->());
  Names names;
  for (int i = 0; i < 10; ++i) {
    EXPECT_TRUE(WriteFileAtomically(dir.Join(std::string(251, 'n') + ".xml"), "new"));
    const std::string& name = Seen::temporaryName;
    EXPECT_EQ(name.substr(0, 12), ".zint-write-");
    EXPECT_EQ(name.size(), 28U);
    EXPECT_EQ(name.find_first_not_of("0123456789abcdef", 12), std::string::npos);
    names.insert(name);
  }
  EXPECT_EQ(names.size(), 10U);
}

// A child that writes "child" to `path` and, in the middle of it, says so and waits until it is
// told to go on or killed. Its exit status is 0 where the write succeeded.
class WriterChild {
 public:
  explicit WriterChild(const std::string& path) {
    std::array<int, 2> reached = {};
    std::array<int, 2> goOn = {};
    EXPECT_EQ(pipe2(reached.data(), O_CLOEXEC), 0);
    EXPECT_EQ(pipe2(goOn.data(), O_CLOEXEC), 0);
    process_ = fork();
    if (process_ == 0) {
      childReached = reached[1];
      childGoOn = goOn[0];
      close(goOn[1]);
      ScopedSystemCalls calls;
      calls->fsync = [](int fd) {
        char byte = 0;
        if (!IsFolder(fd) && (write(childReached, &byte, 1) != 1 || read(childGoOn, &byte, 1) != 1))
          _exit(2);
        return fsync(fd);
      };
      _exit(WriteFileAtomically(path, "child") ? 0 : 1);
    }
    close(reached[1]);
    close(goOn[0]);
    toChild_.Reset(goOn[1]);
    const UniqueFd fromChild(reached[0]);
    char byte = 0;
    EXPECT_EQ(read(fromChild.Get(), &byte, 1), 1);
  }

  // Its exit status.
  int GoOn() {
    const char byte = 0;
    EXPECT_EQ(write(toChild_.Get(), &byte, 1), 1);
    const int status = Wait();
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  void Kill() {
    EXPECT_EQ(kill(process_, SIGKILL), 0);
    EXPECT_TRUE(WIFSIGNALED(Wait()));
  }

 private:
  [[nodiscard]] int Wait() const {
    int status = 0;
    EXPECT_EQ(waitpid(process_, &status, 0), process_);
    return status;
  }

  // Of the child.
  inline static int childReached = -1;
  inline static int childGoOn = -1;

  pid_t process_ = -1;
  UniqueFd toChild_;
};

TEST(WriteFileAtomically, RemovesWhatAKilledWriterLeft) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), "old");
  WriterChild child(dir.Join("file"));
  child.Kill();
  EXPECT_EQ(test::GetFile(dir.Join("file")), "old");
  EXPECT_EQ(NamesIn(dir.Path()).size(), 2U);

  EXPECT_TRUE(WriteFileAtomically(dir.Join("other"), "new"));
  EXPECT_EQ(NamesIn(dir.Path()), Names({"file", "other"}));
}

TEST(WriteFileAtomically, RemovesWhatAKilledWriterLeftThoughItFailsItself) {
  const test::ScopedTempDir dir;
  WriterChild child(dir.Join("file"));
  child.Kill();
  EXPECT_EQ(NamesIn(dir.Path()).size(), 1U);

  ScopedSystemCalls calls;
  calls->write = WriteNothing;
  EXPECT_FALSE(WriteFileAtomically(dir.Join("file"), "new"));
  EXPECT_EQ(NamesIn(dir.Path()), Names());
}

TEST(WriteFileAtomically, LeavesTheTemporaryFileOfALivingWriter) {
  const test::ScopedTempDir dir;
  WriterChild child(dir.Join("file"));
  EXPECT_TRUE(WriteFileAtomically(dir.Join("file"), "parent"));
  EXPECT_EQ(test::GetFile(dir.Join("file")), "parent");
  EXPECT_EQ(NamesIn(dir.Path()).size(), 2U);

  EXPECT_EQ(child.GoOn(), 0);
  EXPECT_EQ(test::GetFile(dir.Join("file")), "child");
  EXPECT_EQ(NamesIn(dir.Path()), Names({"file"}));
}

TEST(WriteFileAtomically, TakesNothingElseForALeftover) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("zint-write-0123456789abcdef"), "");
  test::PutFile(dir.Join(".zint-write-0123456789abcde"), "");
  test::PutFile(dir.Join(".zint-write-0123456789abcdef0"), "");
  test::PutFile(dir.Join(".zint-write-0123456789abcdeg"), "");
  test::PutFile(dir.Join(".zint-write-0123456789ABCDEF"), "");
  test::PutFile(dir.Join(".zint-other-0123456789abcdef"), "");
  test::PutFile(dir.Join("sub/.zint-write-0123456789abcdef"), "");
  test::MakeDirs(dir.Join(".zint-write-00000000000000f0"));
  test::MakeFifo(dir.Join(".zint-write-00000000000000f1"));
  test::MakeLink(dir.Join(".zint-write-00000000000000f2"), ".zint-other-0123456789abcdef");
  const test::Tree before = test::ReadTree(dir.Path());
  test::PutFile(dir.Join(".zint-write-0123456789abcdef"), "");
  EXPECT_TRUE(WriteFileAtomically(dir.Join("file"), "new"));
  EXPECT_EQ(test::CompareTrees(before, test::ReadTree(dir.Path())),
            std::vector<std::string>({"+ file"}));
}

TEST(WriteFileAtomically, DoesNotTakeItsTargetForALeftover) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join(".zint-write-0123456789abcdef"), "old");
  ScopedSystemCalls calls;
  calls->write = WriteNothing;
  EXPECT_FALSE(WriteFileAtomically(dir.Join(".zint-write-0123456789abcdef"), "new"));
  EXPECT_EQ(test::GetFile(dir.Join(".zint-write-0123456789abcdef")), "old");
}

// Another process that takes the writer's first temporary file, made but not locked yet, for a
// leftover.
struct Scanner {
  inline static std::string folder;
  inline static std::string found;
  inline static UniqueFd file;

  static void Clear(const std::string& path) {
    folder = path;
    found.clear();
  }

  static void TakeTheLock() {
    if (!found.empty()) return;
    found = "?";  // not found
    for (const std::string& name : NamesIn(folder)) {
      if (name.starts_with(".zint-write-")) found = folder + "/" + name;
    }
    file.Reset(open(found.c_str(), O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(flock(file.Get(), LOCK_EX | LOCK_NB), 0) << found;
  }

  static void RemoveWhatItFound() {
    if (!file) return;
    (void)unlink(found.c_str());
    file.Reset();
  }
};

TEST(WriteFileAtomically, LeavesItsTemporaryFileToAScannerThatKeepsTheLock) {
  const test::ScopedTempDir dir;
  Scanner::Clear(dir.Path());
  ScopedSystemCalls calls;
  calls->flock = [](int fd, int operation) {
    Scanner::TakeTheLock();
    return flock(fd, operation);
  };
  calls->write = [](int fd, const void* bytes, std::size_t count) {
    Scanner::RemoveWhatItFound();
    return write(fd, bytes, count);
  };
  EXPECT_TRUE(WriteFileAtomically(dir.Join("file"), "new"));
  EXPECT_EQ(test::GetFile(dir.Join("file")), "new");
  EXPECT_EQ(NamesIn(dir.Path()), Names({"file"}));
}

TEST(WriteFileAtomically, MakesAnotherTemporaryFileWhereAScannerHasRemovedTheFirst) {
  const test::ScopedTempDir dir;
  Scanner::Clear(dir.Path());
  ScopedSystemCalls calls;
  calls->flock = [](int fd, int operation) {
    Scanner::TakeTheLock();
    Scanner::RemoveWhatItFound();
    return flock(fd, operation);
  };
  EXPECT_TRUE(WriteFileAtomically(dir.Join("file"), "new"));
  EXPECT_EQ(test::GetFile(dir.Join("file")), "new");
  EXPECT_EQ(NamesIn(dir.Path()), Names({"file"}));
}

TEST(WriteFileAtomically, WritesAndRemovesNoLeftoverWhereTheFileSystemHasNoLocks) {
  for (const bool isKnown : {false, true}) {
    SCOPED_TRACE(isKnown);
    const test::ScopedTempDir dir;
    test::PutFile(dir.Join(".zint-write-0123456789abcdef"), "");
    ScopedSystemCalls calls;
    calls->flock = isKnown ? [](int, int) { return Fail<ENOLCK>(); }
                           : [](int, int) { return Fail<EOPNOTSUPP>(); };
    EXPECT_TRUE(WriteFileAtomically(dir.Join("file"), "new"));
    EXPECT_EQ(test::GetFile(dir.Join("file")), "new");
    EXPECT_EQ(NamesIn(dir.Path()), Names({"file", ".zint-write-0123456789abcdef"}));
  }
}

// The first name is made of zeros, every later one of ones.
void FixTheNames(SystemCalls* calls) {
  static bool isFirst;
  isFirst = true;
  calls->getentropy = [](void* bytes, std::size_t count) {
    std::memset(bytes, isFirst ? 0 : 0x11, count);
    isFirst = false;
    return 0;
  };
}

TEST(WriteFileAtomically, LeavesAnotherWritersFileUnderTheNameThatItWantedItself) {
  const test::ScopedTempDir dir;
  const std::string taken = ".zint-write-0000000000000000";
  test::PutFile(dir.Join(taken), "another writer's");
  const UniqueFd other(open(dir.Join(taken).c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_EQ(flock(other.Get(), LOCK_EX | LOCK_NB), 0);
  ScopedSystemCalls calls;
  WatchCalls(calls.operator->());
  FixTheNames(calls.operator->());
  EXPECT_TRUE(WriteFileAtomically(dir.Join("file"), "new"));
  EXPECT_EQ(Seen::temporaryName, ".zint-write-1111111111111111");
  EXPECT_EQ(test::GetFile(dir.Join("file")), "new");
  EXPECT_EQ(test::GetFile(dir.Join(taken)), "another writer's");
  EXPECT_EQ(NamesIn(dir.Path()), Names({"file", taken}));
}

TEST(WriteFileAtomically, FollowsNoLinkUnderTheNameThatItWantedItself) {
  const test::ScopedTempDir dir;
  const std::string taken = ".zint-write-0000000000000000";
  test::PutFile(dir.Join("old"), "old");
  for (const std::string destination : {"old", "missing"}) {
    SCOPED_TRACE(destination);
    test::MakeLink(dir.Join(taken), destination);
    ScopedSystemCalls calls;
    FixTheNames(calls.operator->());
    EXPECT_TRUE(WriteFileAtomically(dir.Join("file"), "new"));
    EXPECT_EQ(test::GetFile(dir.Join("file")), "new");
    EXPECT_EQ(test::GetFile(dir.Join("old")), "old");
    EXPECT_EQ(test::GetLink(dir.Join(taken)), destination);
    EXPECT_EQ(NamesIn(dir.Path()), Names({"file", "old", taken}));
    ASSERT_EQ(unlink(dir.Join(taken).c_str()), 0);
  }
}

TEST(WriteFileAtomically, GivesUpWhereEveryNameIsTaken) {
  const test::ScopedTempDir dir;
  test::MakeDirs(dir.Join(".zint-write-0000000000000000"));
  test::MakeDirs(dir.Join(".zint-write-1111111111111111"));
  const test::Tree before = test::ReadTree(dir.Path());
  ScopedSystemCalls calls;
  FixTheNames(calls.operator->());
  EXPECT_FALSE(WriteFileAtomically(dir.Join("file"), "new"));
  EXPECT_EQ(test::ReadTree(dir.Path()), before);
}

TEST(WriteFileAtomicallyAt, TriesNoOtherNameWhereNoFileCanBeMadeAtAll) {
  const test::ScopedTempDir dir;
  test::MakeDirs(dir.Join("folder"));
  const UniqueFd gone(open(dir.Join("folder").c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  ASSERT_EQ(rmdir(dir.Join("folder").c_str()), 0);
  static int attempts;
  attempts = 0;
  ScopedSystemCalls calls;
  calls->getentropy = [](void* bytes, std::size_t count) {
    ++attempts;
    return getentropy(bytes, count);
  };
  EXPECT_FALSE(WriteFileAtomicallyAt(gone.Get(), "file", "new"));
  EXPECT_EQ(attempts, 1);
}

TEST(WriteFileAtomically, TakesNoTerminalThatIsNamedAsALeftover) {
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  const UniqueFd terminal(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
  if (!terminal || grantpt(terminal.Get()) != 0 || unlockpt(terminal.Get()) != 0) {
    GTEST_SKIP() << "no terminals on this system";
  }
  const std::string device = ptsname(terminal.Get());
  const test::ScopedTempDir root;
  test::PutFile(root.Join(".zint-write-0123456789abcdef"), "");
  test::RootOptions options;
  options.beforeChangeRoot = [&] {
    ASSERT_EQ(mount(device.c_str(), root.Join(".zint-write-0123456789abcdef").c_str(), nullptr,
                    MS_BIND, nullptr),
              0);
  };
  test::RunInRoot(
      root.Path(),
      [&terminal] {
        // Such a process gets the next terminal that it opens as its own.
        ASSERT_NE(setsid(), -1);
        EXPECT_TRUE(WriteFileAtomically("/file", "new"));
        EXPECT_EQ(tcgetsid(terminal.Get()), -1);
        const UniqueFd own(open("/.zint-write-0123456789abcdef", O_RDONLY | O_CLOEXEC));
        EXPECT_TRUE(own);
        EXPECT_EQ(tcgetsid(terminal.Get()), getsid(0));
      },
      options);
}

TEST(WriteFileAtomically, WritesWhereTheItemWasFoundThoughItsPathLeadsElsewhereByNow) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("folder/file"), "old");
  test::PutFile(dir.Join("other/file"), "other");
  LocatedItem item;
  ASSERT_EQ(LocateItem(dir.Join("folder/file"), LastLink::kFollow, &item), 0);
  ASSERT_EQ(rename(dir.Join("folder").c_str(), dir.Join("moved").c_str()), 0);
  ASSERT_EQ(rename(dir.Join("other").c_str(), dir.Join("folder").c_str()), 0);
  EXPECT_TRUE(WriteFileAtomically(item, "new"));
  EXPECT_EQ(test::GetFile(dir.Join("moved/file")), "new");
  EXPECT_EQ(test::GetFile(dir.Join("folder/file")), "other");
}

TEST(WriteFileAtomically, SucceedsForManyWritersAtOnce) {
  const test::ScopedTempDir dir;
  std::vector<pid_t> writers;
  for (int i = 0; i < 4; ++i) {
    const pid_t writer = fork();
    ASSERT_NE(writer, -1);
    if (writer == 0) {
      // Without syncs the writers meet far more often.
      ScopedSystemCalls calls;
      calls->fsync = [](int) { return 0; };
      int failures = 0;
      for (int round = 0; round < 200; ++round) {
        if (!WriteFileAtomically(dir.Join("file"), std::string(1000, 'x'))) ++failures;
      }
      _exit(failures == 0 ? 0 : 1);
    }
    writers.push_back(writer);
  }
  for (const pid_t writer : writers) {
    int status = 0;
    EXPECT_EQ(waitpid(writer, &status, 0), writer);
    EXPECT_EQ(status, 0);
  }
  EXPECT_EQ(test::GetFile(dir.Join("file")), std::string(1000, 'x'));
  EXPECT_EQ(NamesIn(dir.Path()), Names({"file"}));
}

TEST(WriteFileAtomically, FailsBehindALinkToSomebodyElsesFolder) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("folder/file"), "old");
  test::MakeLink(dir.Join("link"), "folder");
  test::SetOwner(dir.Join("link"), 501, 501);
  EXPECT_FALSE(WriteFileAtomically(dir.Join("link/file"), "new"));
  EXPECT_EQ(test::GetFile(dir.Join("folder/file")), "old");

  test::SetOwner(dir.Join("folder"), 501, 501);
  EXPECT_TRUE(WriteFileAtomically(dir.Join("link/file"), "new"));
  EXPECT_EQ(test::GetFile(dir.Join("folder/file")), "new");
}

TEST(WriteFileAtomically, NeedsNoRightToReadTheFolder) {
  if (const std::string why = test::WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("folder/.zint-write-0123456789abcdef"), "");
  test::SetOwner(dir.Join("folder"), 1000, 1000);
  test::SetMode(dir.Join("folder"), 0300);
  test::RunInChild([&dir] {
    ASSERT_EQ(seteuid(1000), 0);
    EXPECT_TRUE(WriteFileAtomically(dir.Join("folder/file"), "new"));
  });
  EXPECT_EQ(test::GetFile(dir.Join("folder/file")), "new");
  EXPECT_EQ(NamesIn(dir.Join("folder")), Names({"file", ".zint-write-0123456789abcdef"}));
}

TEST(WriteFileAtomically, KeepsTheOldBytesOnAFullFileSystem) {
  if (const std::string why = test::WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  const test::ScopedTempDir root;
  test::MakeDirs(root.Join("full"));
  test::RootOptions options;
  options.beforeChangeRoot = [&root] {
    ASSERT_EQ(mount("tmpfs", root.Join("full").c_str(), "tmpfs", 0, "size=64k"), 0);
  };
  test::RunInRoot(
      root.Path(),
      [] {
        test::PutFile("/full/file", "old");
        EXPECT_FALSE(WriteFileAtomically("/full/file", std::string(1'000'000, 'x')));
        EXPECT_EQ(test::GetFile("/full/file"), "old");
        EXPECT_EQ(NamesIn("/full"), Names({"file"}));
        EXPECT_TRUE(WriteFileAtomically("/full/file", "new"));
      },
      options);
}

TEST(WriteFileAtomically, KeepsTheOldBytesWhereFilesMayNotGrowThatLarge) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), "old");
  test::RunInChild([&dir] {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {.rlim_cur = 4096, .rlim_max = 4096};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    EXPECT_FALSE(WriteFileAtomically(dir.Join("file"), std::string(100'000, 'x')));
  });
  EXPECT_EQ(test::GetFile(dir.Join("file")), "old");
  EXPECT_EQ(NamesIn(dir.Path()), Names({"file"}));
}

TEST(WriteFileAtomicallyAt, KeepsTheOldBytesWhereDescriptorsRunOut) {
  const test::ScopedTempDir dir;
  test::PutFile(dir.Join("file"), "old");
  test::RunInChild([&dir] {
    const UniqueFd folder(open(dir.Path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    rlimit limit = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlim_t all = limit.rlim_cur;
    // The next descriptor is the first that is refused, then the second, ...
    UniqueFd next(dup(folder.Get()));
    const auto first = static_cast<rlim_t>(next.Get());
    next.Reset();
    bool isWritten = false;
    rlim_t more = 0;
    for (; !isWritten && more < 10; ++more) {
      limit.rlim_cur = first + more;
      ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
      isWritten = WriteFileAtomicallyAt(folder.Get(), "file", "new");
      limit.rlim_cur = all;
      ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
      EXPECT_EQ(test::GetFile(dir.Join("file")), isWritten ? "new" : "old");
      EXPECT_EQ(NamesIn(dir.Path()), Names({"file"}));
    }
    EXPECT_TRUE(isWritten);
    EXPECT_EQ(more, 4U);
  });
  EXPECT_EQ(test::GetFile(dir.Join("file")), "new");
}

}  // namespace
}  // namespace platform
