#include "log/log_target_default.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <ios>
#include <map>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/utsname.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "log/api/level.h"
#include "log/api/printf_format.h"
#include "log/cross_process_lock.h"
#include "log/cross_process_lock_for_testing.h"
#include "log/log_target_for_testing.h"
#include "log/session_header.h"
#include "platform/monotonic_time.h"
#include "platform/system_calls.h"
#include "platform/system_calls_for_testing.h"
#include "platform/thread_id.h"
#include "platform/unique_fd.h"
#include "tests/support/fake_host.h"
#include "tests/support/files.h"
#include "tests/support/known_faults.h"
#include "tests/support/scoped_temp_dir.h"
#include "tests/support/scoped_time_zone.h"
#include "tests/support/tree.h"

namespace {

using namespace std::string_literals;
using dunmar::HeaderBlock;
using dunmar::LogLevel;
using dunmar::LogTargetDefault;
using Fields = dunmar::LogTargetForTesting;
using Lines = std::vector<std::string>;

constexpr std::int64_t kMorning = 1794810056;  // 16 November 2026, 06:20:56 UTC
constexpr char kStars[] =
    "******************************************************************************";

// A machine where it is 06:20:56.007 on 16 November 2026, with a folder for a log.
struct Machine {
  Machine() {
    test::MakeDirs(folder.Join("home"));
    test::MakeDirs(folder.Join("logs"));
    host.directories.home = folder.Join("home");
    host.directories.folders[{2, 1}] = folder.Join("Applications");
    host.clock.now = {.seconds = kMorning, .microseconds = 7000};
    host.info.version = {.major = 14, .minor = 5, .patch = 0};
    host.info.languages = {"en-US"};
  }

  [[nodiscard]] std::string Logs(const std::string& name) const {
    return folder.Join("logs/" + name);
  }

  test::ScopedTempDir folder;
  test::ScopedTimeZone zone{"UTC0"};
  test::FakeHost host;
  std::string path = folder.Join("logs/Ixer.log");
  std::string copy = folder.Join("logs/Ixer 2026-11-16 06-20-56.log");
};

// A target on the machine's log file, whose records have no thread id and whose header is one
// line.
template <typename Target>
struct OnFileOf : Target {
  explicit OnFileOf(const Machine& machine) : OnFileOf(machine.path) {}
  explicit OnFileOf(const std::string& path) : Target("Test") {
    Fields::FilePath(*this) = path;
    Fields::LogThreadId(*this) = false;
    Fields::SessionHeader(*this) = {.topLine = "header", .entries = {}, .bottomLine = ""};
  }
};
using OnFile = OnFileOf<LogTargetDefault>;

void LogAt(dunmar::LogTargetBase& target, std::int64_t timeMs, LogLevel level, bool useLock,
           const char* format, ...) DUNMAR_PRINTF_FORMAT(5, 6);
void LogAt(dunmar::LogTargetBase& target, std::int64_t timeMs, LogLevel level, bool useLock,
           const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  EXPECT_TRUE(
      target.Write(level, "1", "2", "3", "4", "5", "6", format, &arguments, timeMs, useLock));
  va_end(arguments);
}

// As the registry does.
void Log(dunmar::LogTargetBase& target, LogLevel level, const std::string& message) {
  LogAt(target, 0, level, /*useLock=*/true, "%s", message.c_str());
}
void Log(dunmar::LogTargetBase& target, const std::string& message) {
  Log(target, dunmar::kInfo, message);
}

// The format is the message.
void LogBare(dunmar::LogTargetBase& target, const char* format) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  EXPECT_TRUE(target.Write(30, "1", "2", "3", "4", "5", "6", format, /*arguments=*/nullptr,
                           /*timeMs=*/0, /*useLock=*/true));
#pragma GCC diagnostic pop
}

// A line that `Log` writes on that morning.
std::string Line(const std::string& message, const std::string& level = "INFO") {
  return "11/16/26 06:20:56:007 | [" + level + "] | 1 | 2 | 3 | 4 | 5 | 6 |  | 0 | " + message +
         "\n";
}

// The same for a line of a header, which has no fifth and no sixth text.
std::string HeaderLine(const std::string& text, const std::string& level = "INFO") {
  return "11/16/26 06:20:56:007 | [" + level + "] | 1 | 2 | 3 | 4 |  |  |  | 0 | " + text + "\n";
}

void SetSize(const std::string& path, off_t size) {
  ASSERT_EQ(truncate(path.c_str(), size), 0) << path;
}

std::optional<off_t> SizeOf(const std::string& path) {
  struct stat item = {};
  if (lstat(path.c_str(), &item) != 0) return std::nullopt;
  return item.st_size;
}

ino_t NodeOf(const std::string& path) {
  struct stat item = {};
  EXPECT_EQ(lstat(path.c_str(), &item), 0) << path;
  return item.st_ino;
}

// What makes a file at the default threshold ripe for a rotation.
constexpr off_t kRipe = 15728640;

// The names in the folder of logs, in their order.
Lines NamesIn(const Machine& machine) {
  Lines names;
  for (const auto& [name, item] : test::ReadTree(machine.folder.Join("logs"))) {
    if (!name.empty()) names.push_back(name);
  }
  return names;
}

int SetOf(LogTargetDefault& target) {
  return dunmar::SemaphoreSetForTesting(*Fields::ProcessLock(target));
}

int Semaphore(int set, int number) { return semctl(set, number, GETVAL); }
int UserCount(LogTargetDefault& target) { return Semaphore(SetOf(target), 0); }
bool IsFree(LogTargetDefault& target) { return Semaphore(SetOf(target), 1) == 1; }

// The set that processes share which log to this file; -1 where there is none.
int FindSet(const std::string& path) { return semget(ftok(path.c_str(), 11), 0, 0); }

// Counts the operations on semaphores and the writes to files, of this scope.
class CallCounter {
 public:
  CallCounter() {
    Semops() = 0;
    Writes().clear();
    calls_->semop = [](int set, sembuf* operations, std::size_t count) {
      ++Semops();
      return ::semop(set, operations, count);
    };
    calls_->write = [](int fd, const void* bytes, std::size_t count) {
      Writes().emplace_back(static_cast<const char*>(bytes), count);
      return ::write(fd, bytes, count);
    };
  }

  static int& Semops() {
    static int semops = 0;
    return semops;
  }
  static Lines& Writes() {
    static Lines writes;
    return writes;
  }

 private:
  platform::ScopedSystemCalls calls_;
};

// ---- Making one ----

TEST(LogTargetDefault, TakesItsName) {
  Machine machine;
  EXPECT_EQ(LogTargetDefault("ZintCustomHook").GetName(), "ZintCustomHook");
  EXPECT_EQ(LogTargetDefault("").GetName(), "");
  EXPECT_EQ(LogTargetDefault(nullptr).GetName(), "");
}

TEST(LogTargetDefault, BeginsClosedAndWithoutALock) {
  Machine machine;
  LogTargetDefault target("Test");
  EXPECT_EQ(target.GetLevel(), 30);
  EXPECT_EQ(target.GetReferenceCount(), 0U);
  EXPECT_EQ(Fields::FileName(target), "Dunmar.log");
  EXPECT_EQ(Fields::FilePath(target), "");
  EXPECT_EQ(Fields::Separator(target), " | ");
  EXPECT_FALSE(Fields::Stream(target).is_open());
  EXPECT_TRUE(Fields::Enabled(target));
  EXPECT_FALSE(Fields::IsOpen(target));
  EXPECT_EQ(Fields::ProcessLock(target), nullptr);
  EXPECT_FALSE(Fields::HeaderPending(target));
}

TEST(LogTargetDefault, HasItsThresholdFromMarkerFiles) {
  Machine machine;
  test::PutFile(machine.folder.Join("home/Library/Logs/Dunmar.debug"), "");
  EXPECT_EQ(LogTargetDefault("Test").GetLevel(), 20);
}

TEST(LogTargetDefault, KnowsTheNineMaskedKeys) {
  Machine machine;
  LogTargetDefault target("Test");
  EXPECT_EQ(Fields::MaskedKeys(target),
            (Lines{"proxyusername", "proxy-user", "proxyuser", "user", "username", "proxy-password",
                   "proxypassword", "password", "proxypass"}));
}

TEST(LogTargetDefault, GathersItsHeaderAtOnce) {
  Machine machine;
  platform::ScopedSystemCalls calls;
  calls->uname = [](utsname* names) {
    *names = {};
    std::string("arm64").copy(names->machine, sizeof names->machine - 1);
    return 0;
  };
  LogTargetDefault target("Test");
  machine.host.info.version = {.major = 15, .minor = 0, .patch = 1};
  machine.host.info.languages = {"de-DE"};
  const HeaderBlock& header = Fields::SessionHeader(target);
  EXPECT_EQ(header.topLine, kStars);
  EXPECT_EQ(header.entries, (std::map<std::string, std::string>{{"Bit: ", "64"},
                                                                {"OS Locale: ", "en_US"},
                                                                {"OS Name: ", "Mac OS 14.5.0"},
                                                                {"OS Version: ", "14.5.0"}}));
  EXPECT_EQ(header.bottomLine, kStars);
}

TEST(LogTargetDefault, TellsNoThreadIdOnReleasesOfMacOSWithoutTheCall) {
  Machine machine;
  const struct {
    std::int64_t major;
    std::int64_t minor;
    bool onMacOS;
  } rows[] = {{9, 9, true},  {9, 5, false}, {10, 0, false}, {10, 5, false},
              {10, 6, true}, {11, 0, true}, {11, 5, true},  {14, 5, true}};
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.major) + "." + std::to_string(row.minor));
    machine.host.info.version = {.major = row.major, .minor = row.minor, .patch = 8};
    machine.host.info.hasMacOSVersionNumbers = true;
    LogTargetDefault onMacOS("Test");
    EXPECT_EQ(Fields::LogThreadId(onMacOS), row.onMacOS);
    machine.host.info.hasMacOSVersionNumbers = false;
    LogTargetDefault elsewhere("Test");
    EXPECT_TRUE(Fields::LogThreadId(elsewhere));
  }
}

TEST(HasThreadIdCall, IsAboutReleasesOfMacOS) {
  EXPECT_TRUE(dunmar::HasThreadIdCall(9, 9));
  EXPECT_FALSE(dunmar::HasThreadIdCall(10, 5));
  EXPECT_TRUE(dunmar::HasThreadIdCall(10, 6));
  EXPECT_TRUE(dunmar::HasThreadIdCall(11, 0));
}

// ---- Opening ----

TEST(LogTargetDefaultOpen, MakesAFileForEveryUserAndAttachesTheLock) {
  Machine machine;
  const test::ScopedUmask umask(077);
  OnFile target(machine);
  EXPECT_TRUE(target.Open());
  EXPECT_TRUE(Fields::IsOpen(target));
  EXPECT_TRUE(Fields::Stream(target).is_open());
  EXPECT_EQ(test::GetFile(machine.path), "");
  EXPECT_EQ(test::GetMode(machine.path), 0666U);
  EXPECT_EQ(SetOf(target), FindSet(machine.path));
  EXPECT_EQ(UserCount(target), 1);
  EXPECT_TRUE(IsFree(target));
  EXPECT_EQ(Fields::LastCheckTime(target), kMorning);
  EXPECT_EQ(Fields::LastRecordTime(target), kMorning);
  EXPECT_FALSE(Fields::HeaderPending(target));
}

TEST(LogTargetDefaultOpen, KeepsContentAndModeOfAnExistingFile) {
  Machine machine;
  test::PutFile(machine.path, "old\n");
  test::SetMode(machine.path, 0640);
  OnFile target(machine);
  EXPECT_TRUE(target.Open());
  Log(target, "new");
  EXPECT_EQ(test::GetFile(machine.path), "old\n" + Line("new"));
  EXPECT_EQ(test::GetMode(machine.path), 0640U);
}

TEST(LogTargetDefaultOpen, RefusesWhereTheTargetIsDisabled) {
  Machine machine;
  OnFile target(machine);
  Fields::Enabled(target) = false;
  EXPECT_FALSE(target.Open());
  EXPECT_FALSE(Fields::IsOpen(target));
  EXPECT_EQ(Fields::ProcessLock(target), nullptr);
  EXPECT_EQ(NamesIn(machine), Lines{});
}

TEST(LogTargetDefaultOpen, BuildsAPathWhereThereIsNone) {
  Machine machine;
  OnFile target("");
  EXPECT_TRUE(target.Open());
  const std::string path = machine.folder.Join("home/Library/Logs/Dunmar.log");
  EXPECT_EQ(Fields::FilePath(target), path);
  Log(target, "x");
  EXPECT_EQ(test::GetFile(path), Line("x"));
}

TEST(LogTargetDefaultOpen, BuildsThePathWithTheFileNameAtHand) {
  Machine machine;
  OnFile target("");
  Fields::FileName(target) = "Other.txt";
  EXPECT_TRUE(target.Open());
  EXPECT_EQ(Fields::FilePath(target), machine.folder.Join("home/Library/Logs/Other.txt"));
}

TEST(LogTargetDefaultOpen, RefusesWhereNoPathCanBeBuilt) {
  Machine machine;
  machine.host.directories.home = machine.folder.Join("nowhere");
  OnFile target("");
  EXPECT_FALSE(target.Open());
  EXPECT_EQ(Fields::FilePath(target), "");
  EXPECT_FALSE(Fields::IsOpen(target));
  EXPECT_EQ(Fields::ProcessLock(target), nullptr);
}

TEST(LogTargetDefaultOpen, ReplacesALinkByAFile) {
  Machine machine;
  test::PutFile(machine.Logs("other"), "other's");
  test::SetMode(machine.Logs("other"), 0600);
  for (const std::string destination : {"other", "dangling"}) {
    SCOPED_TRACE(destination);
    (void)unlink(machine.path.c_str());
    test::MakeLink(machine.path, destination);
    OnFile target(machine);
    EXPECT_TRUE(target.Open());
    Log(target, "x");
    EXPECT_EQ(test::GetLink(machine.path), std::nullopt);
    EXPECT_EQ(test::GetFile(machine.path), Line("x"));
    EXPECT_EQ(test::GetMode(machine.path), 0666U);
  }
  EXPECT_EQ(test::GetFile(machine.Logs("other")), "other's");
  EXPECT_EQ(test::GetMode(machine.Logs("other")), 0600U);
  EXPECT_FALSE(test::IsThere(machine.Logs("dangling")));
}

TEST(LogTargetDefaultOpen, RefusesAFileOfSeveralNames) {
  Machine machine;
  test::PutFile(machine.path, "old");
  test::MakeHardLink(machine.Logs("second"), machine.path);
  OnFile target(machine);
  EXPECT_FALSE(target.Open());
  EXPECT_FALSE(Fields::IsOpen(target));
  EXPECT_EQ(Fields::ProcessLock(target), nullptr);
  EXPECT_EQ(test::GetFile(machine.path), "old");
}

TEST(LogTargetDefaultOpen, RefusesWhatIsNoFileWithoutWaiting) {
  Machine machine;
  test::MakeDirs(machine.Logs("folder"));
  test::MakeFifo(machine.Logs("fifo"));
  for (const std::string name : {"folder", "fifo", "missing/Ixer.log", ""}) {
    SCOPED_TRACE(name);
    OnFile target(machine.Logs(name));
    EXPECT_FALSE(target.Open());
    EXPECT_FALSE(Fields::IsOpen(target));
    EXPECT_EQ(Fields::ProcessLock(target), nullptr);
  }
}

TEST(LogTargetDefaultOpen, SucceedsWithoutALockAndThenDropsRecords) {
  Machine machine;
  platform::ScopedSystemCalls calls;
  calls->semget = [](key_t, int, int) {
    errno = ENOSPC;
    return -1;
  };
  OnFile target(machine);
  EXPECT_TRUE(target.Open());
  EXPECT_TRUE(Fields::IsOpen(target));
  ASSERT_NE(Fields::ProcessLock(target), nullptr);
  EXPECT_EQ(SetOf(target), -1);
  EXPECT_EQ(Fields::LastCheckTime(target), kMorning);
  Log(target, dunmar::kFatal, "lost");
  EXPECT_EQ(test::GetFile(machine.path), "");
  EXPECT_TRUE(target.Close());
}

TEST(LogTargetDefaultOpen, DoesNotLookAtTheSizeWithoutALock) {
  Machine machine;
  test::PutFile(machine.path, "");
  SetSize(machine.path, kRipe);
  platform::ScopedSystemCalls calls;
  calls->semget = [](key_t, int, int) {
    errno = ENOSPC;
    return -1;
  };
  OnFile target(machine);
  EXPECT_TRUE(target.Open());
  EXPECT_EQ(NamesIn(machine), Lines{"Ixer.log"});
  EXPECT_FALSE(Fields::HeaderPending(target));
}

TEST(LogTargetDefaultOpen, RotatesARipeFileAndGivesTheLockBack) {
  Machine machine;
  test::PutFile(machine.path, "");
  SetSize(machine.path, kRipe);
  OnFile target(machine);
  EXPECT_TRUE(target.Open());
  EXPECT_EQ(SizeOf(machine.copy), kRipe);
  EXPECT_EQ(SizeOf(machine.path), 0);
  EXPECT_TRUE(Fields::HeaderPending(target));
  EXPECT_TRUE(Fields::IsOpen(target));
  EXPECT_TRUE(IsFree(target));
}

// The second opening of the stream is that of the rotation.
class FailsToReopen : public LogTargetDefault {
 public:
  using LogTargetDefault::LogTargetDefault;
  bool OpenStream(dunmar::FileStream& stream) override {
    if (++opened_ == 2) {
      if (throws) throw std::bad_alloc();
      return false;
    }
    return LogTargetDefault::OpenStream(stream);
  }
  bool throws = false;

 private:
  int opened_ = 0;
};

TEST(LogTargetDefaultOpen, SucceedsWhereTheRotationCannotReopenTheFile) {
  Machine machine;
  test::PutFile(machine.path, "");
  SetSize(machine.path, kRipe);
  OnFileOf<FailsToReopen> target(machine);
  EXPECT_TRUE(target.Open());
  EXPECT_TRUE(Fields::IsOpen(target));
  EXPECT_FALSE(Fields::Stream(target).is_open());
  EXPECT_TRUE(IsFree(target));
}

TEST(LogTargetDefaultOpen, GivesTheLockBackWhenTheRotationThrows) {
  Machine machine;
  test::PutFile(machine.path, "");
  SetSize(machine.path, kRipe);
  OnFileOf<FailsToReopen> target(machine);
  target.throws = true;
  EXPECT_THROW(target.Open(), std::bad_alloc);
  EXPECT_FALSE(Fields::IsOpen(target));
  EXPECT_TRUE(IsFree(target));
}

TEST(LogTargetDefaultOpen, KeepsItsLockWhenOpenedAgain) {
  Machine machine;
  OnFile target(machine);
  EXPECT_TRUE(target.Open());
  const int set = SetOf(target);
  machine.host.clock.now.seconds += 5;
  EXPECT_TRUE(target.Open());
  EXPECT_EQ(SetOf(target), set);
  EXPECT_EQ(UserCount(target), 1);
  EXPECT_EQ(Fields::LastCheckTime(target), kMorning + 5);
  EXPECT_EQ(Fields::LastRecordTime(target), kMorning + 5);
  machine.host.clock.now.seconds = kMorning;
  Log(target, "x");
  EXPECT_EQ(test::GetFile(machine.path), Line("x"));
}

// ---- Closing and the end ----

TEST(LogTargetDefaultClose, ClosesTheFileAndDetaches) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  EXPECT_TRUE(target.Close());
  EXPECT_FALSE(Fields::IsOpen(target));
  EXPECT_FALSE(Fields::Stream(target).is_open());
  EXPECT_TRUE(Fields::Stream(target).good());
  EXPECT_EQ(Fields::ProcessLock(target), nullptr);
  EXPECT_EQ(FindSet(machine.path), -1);
}

TEST(LogTargetDefaultClose, SucceedsOnAClosedTarget) {
  Machine machine;
  OnFile target(machine);
  EXPECT_TRUE(target.Close());
  EXPECT_FALSE(Fields::IsOpen(target));
  EXPECT_TRUE(target.Close());
  EXPECT_TRUE(target.Open());
  EXPECT_TRUE(target.Close());
  EXPECT_TRUE(target.Close());
  EXPECT_FALSE(Fields::IsOpen(target));
}

TEST(LogTargetDefaultClose, IsFollowedByAnotherOpening) {
  Machine machine;
  OnFile target(machine);
  for (int turn = 0; turn < 2; ++turn) {
    ASSERT_TRUE(target.Open());
    EXPECT_EQ(UserCount(target), 1);
    Log(target, "x");
    ASSERT_TRUE(target.Close());
    Log(target, "lost");
  }
  EXPECT_EQ(test::GetFile(machine.path), Line("x") + Line("x"));
}

TEST(LogTargetDefaultClose, MarksAStreamWhoseClosingFails) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  platform::ScopedSystemCalls calls;
  calls->close = [](int fd) {
    (void)::close(fd);
    errno = EIO;
    return -1;
  };
  EXPECT_TRUE(target.Close());
  EXPECT_TRUE(Fields::Stream(target).fail());
  EXPECT_FALSE(Fields::IsOpen(target));
}

TEST(LogTargetDefaultClose, LeavesTheSetToOtherUsers) {
  Machine machine;
  OnFile first(machine);
  OnFile second(machine);
  ASSERT_TRUE(first.Open());
  ASSERT_TRUE(second.Open());
  EXPECT_EQ(SetOf(first), SetOf(second));
  EXPECT_EQ(UserCount(first), 2);
  EXPECT_TRUE(second.Close());
  EXPECT_EQ(UserCount(first), 1);
  Log(first, "x");
  EXPECT_EQ(test::GetFile(machine.path), Line("x"));
}

TEST(LogTargetDefaultDestructor, DetachesAndCloses) {
  Machine machine;
  OnFile first(machine);
  ASSERT_TRUE(first.Open());
  {
    OnFile second(machine);
    ASSERT_TRUE(second.Open());
    EXPECT_EQ(UserCount(first), 2);
  }
  EXPECT_EQ(UserCount(first), 1);
  const int set = SetOf(first);
  {
    LogTargetDefault third("Test");
    Fields::FilePath(third) = machine.path;
    ASSERT_TRUE(third.Open());
    ASSERT_TRUE(first.Close());
    EXPECT_EQ(Semaphore(set, 0), 1);
  }
  EXPECT_EQ(FindSet(machine.path), -1);
}

// ---- Whether a record is written ----

TEST(LogTargetDefaultWrite, LeavesTheLockAloneBelowTheThreshold) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  const CallCounter counter;
  Log(target, 20, "x");
  Log(target, 29, "x");
  Log(target, -2147483647 - 1, "x");
  EXPECT_EQ(CallCounter::Semops(), 0);
  EXPECT_EQ(test::GetFile(machine.path), "");
  Log(target, 30, "x");
  EXPECT_EQ(CallCounter::Semops(), 2);
  EXPECT_EQ(test::GetFile(machine.path), Line("x"));
}

TEST(LogTargetDefaultWrite, GoesByAnyThreshold) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  Fields::Level(target) = -5;
  Log(target, -5, "is as high");
  Log(target, -6, "is lower");
  Fields::Level(target) = 70;
  Log(target, 69, "is lower");
  Log(target, 70, "is as high");
  EXPECT_EQ(test::GetFile(machine.path), Line("is as high", "ALL") + Line("is as high", "NONE"));
}

TEST(LogTargetDefaultWrite, DropsRecordsOfAClosedTarget) {
  Machine machine;
  OnFile target(machine);
  Log(target, "x");
  EXPECT_FALSE(test::IsThere(machine.path));
  EXPECT_TRUE(Fields::Stream(target).good());
}

TEST(LogTargetDefaultWrite, DropsRecordsWhereTheLockFails) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  Fields::HeaderPending(target) = true;
  {
    platform::ScopedSystemCalls calls;
    calls->semop = [](int, sembuf*, std::size_t) {
      errno = EIDRM;
      return -1;
    };
    Log(target, "lost");
  }
  EXPECT_EQ(test::GetFile(machine.path), "");
  EXPECT_TRUE(Fields::HeaderPending(target));
  Log(target, "kept");
  EXPECT_EQ(test::GetFile(machine.path), HeaderLine("header") + Line("kept"));
}

TEST(LogTargetDefaultWrite, DropsRecordsFromTheRemovalOfTheSetUntilClosedAndOpened) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  ASSERT_EQ(semctl(SetOf(target), 0, IPC_RMID), 0);
  Log(target, "lost");
  ASSERT_TRUE(target.Open());
  Log(target, "lost");
  ASSERT_TRUE(target.Close());
  ASSERT_TRUE(target.Open());
  Log(target, "kept");
  EXPECT_EQ(test::GetFile(machine.path), Line("kept"));
}

TEST(LogTargetDefaultWrite, NeitherLocksNorChecksWithoutUseLock) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  SetSize(machine.path, kRipe);
  Fields::LastRecordTime(target) = kMorning + 900;
  const CallCounter counter;
  LogAt(target, 0, 30, /*useLock=*/false, "x");
  EXPECT_EQ(CallCounter::Semops(), 0);
  EXPECT_EQ(SizeOf(machine.path), kRipe + static_cast<off_t>(Line("x").size()));
  EXPECT_EQ(NamesIn(machine), Lines{"Ixer.log"});
}

TEST(LogTargetDefaultWrite, NeedsNoLockWithoutUseLock) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.OpenStream(Fields::Stream(target)));
  LogAt(target, 0, 30, /*useLock=*/false, "x");
  EXPECT_EQ(Fields::ProcessLock(target), nullptr);
  EXPECT_EQ(test::GetFile(machine.path), Line("x"));
}

TEST(LogTargetDefaultWrite, KeepsThreadsApart) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  std::vector<std::thread> threads;
  for (const char letter : {'a', 'b', 'c', 'd'}) {
    threads.emplace_back([&target, letter] {
      for (int record = 0; record < 250; ++record) Log(target, std::string(200, letter));
    });
  }
  for (std::thread& thread : threads) thread.join();
  const std::string content = test::GetFile(machine.path).value_or("");
  EXPECT_EQ(content.size(), 1000 * Line(std::string(200, 'a')).size());
  for (const char letter : {'a', 'b', 'c', 'd'}) {
    const std::string line = Line(std::string(200, letter));
    int lines = 0;
    for (std::size_t at = content.find(line); at != std::string::npos;
         at = content.find(line, at + line.size())) {
      ++lines;
    }
    EXPECT_EQ(lines, 250);
  }
}

// ---- The longest wait ----

// Somebody else's hold on the target's lock. Time passes only in waiting for it, and the hold lasts
// for `lasts` of it.
class HoldOfOthers {
 public:
  explicit HoldOfOthers(const std::string& path) {
    EXPECT_TRUE(Holder().Attach(path, 11));
    EXPECT_TRUE(Holder().Acquire());
    Now() = std::chrono::hours(1);
    Waits().clear();
    calls_->clockGettime = [](clockid_t, timespec* time) {
      *time = platform::ToTimespec(Now());
      return 0;
    };
    calls_->semtimedop = [](int set, sembuf* operation, std::size_t count, const timespec* time) {
      const auto allowed =
          std::chrono::seconds(time->tv_sec) + std::chrono::nanoseconds(time->tv_nsec);
      Waits().push_back(allowed);
      Now() += std::min<std::chrono::nanoseconds>(allowed, Lasts());
      if (Lasts() <= allowed) {
        End();
        return ::semop(set, operation, count);
      }
      errno = EAGAIN;
      return -1;
    };
  }
  ~HoldOfOthers() { EXPECT_TRUE(Holder().Detach()); }
  HoldOfOthers(const HoldOfOthers&) = delete;
  HoldOfOthers& operator=(const HoldOfOthers&) = delete;

  static void End() { EXPECT_TRUE(Holder().Release()); }
  static std::chrono::seconds& Lasts() {
    static std::chrono::seconds lasts;
    return lasts;
  }
  static std::vector<std::chrono::nanoseconds>& Waits() {  // what was allowed
    static std::vector<std::chrono::nanoseconds> waits;
    return waits;
  }

 private:
  static dunmar::CrossProcessLock& Holder() {
    static dunmar::CrossProcessLock holder;
    return holder;
  }
  static std::chrono::nanoseconds& Now() {
    static std::chrono::nanoseconds now;
    return now;
  }

  platform::ScopedSystemCalls calls_;
};

using Waits = std::vector<std::chrono::nanoseconds>;

std::chrono::nanoseconds WaitLeft(LogTargetDefault& target) {
  return Fields::ProcessLock(target)->WaitLeft();
}

TEST(LogTargetDefaultSetLongestWait, IsNotNeeded) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  EXPECT_EQ(WaitLeft(target), dunmar::CrossProcessLock::kWithoutLimit);
}

TEST(LogTargetDefaultSetLongestWait, LimitsTheWaitingOfAllRecordsTogether) {
  Machine machine;
  OnFile target(machine);
  target.SetLongestWait(std::chrono::seconds(60));
  ASSERT_TRUE(target.Open());
  const HoldOfOthers hold(machine.path);
  HoldOfOthers::Lasts() = std::chrono::seconds(1000);
  SetSize(machine.path, kRipe);
  Fields::LastRecordTime(target) = kMorning + 900;
  Fields::HeaderPending(target) = true;
  for (int i = 0; i < 100; ++i) Log(target, "lost");
  target.WriteHeader(30, "1", "2", "3", "4", nullptr, /*useLock=*/true);
  EXPECT_EQ(HoldOfOthers::Waits(), Waits{std::chrono::seconds(60)});
  EXPECT_EQ(SizeOf(machine.path), kRipe);
  EXPECT_FALSE(test::IsThere(machine.copy));

  HoldOfOthers::End();
  Log(target, "kept");
  EXPECT_EQ(HoldOfOthers::Waits(), Waits{std::chrono::seconds(60)});
  EXPECT_EQ(SizeOf(machine.copy), kRipe);
  EXPECT_EQ(test::GetFile(machine.path), HeaderLine("header") + Line("kept"));
}

TEST(LogTargetDefaultSetLongestWait, HoldsForEveryOpening) {
  Machine machine;
  OnFile target(machine);
  target.SetLongestWait(std::chrono::seconds(60));
  ASSERT_TRUE(target.Open());
  EXPECT_EQ(WaitLeft(target), std::chrono::seconds(60));
  {
    const HoldOfOthers hold(machine.path);
    HoldOfOthers::Lasts() = std::chrono::seconds(20);
    Log(target, "late");
  }
  EXPECT_EQ(WaitLeft(target), std::chrono::seconds(40));
  ASSERT_TRUE(target.Close());
  ASSERT_TRUE(target.Open());
  EXPECT_EQ(WaitLeft(target), std::chrono::seconds(40));
  ASSERT_TRUE(target.Close());
  {
    const HoldOfOthers hold(machine.path);
    HoldOfOthers::Lasts() = std::chrono::seconds(1000);
    ASSERT_TRUE(target.Open());
    EXPECT_EQ(HoldOfOthers::Waits(), Waits{std::chrono::seconds(40)});
    ASSERT_TRUE(target.Close());
    ASSERT_TRUE(target.Open());
    Log(target, "lost");
    EXPECT_EQ(HoldOfOthers::Waits(), Waits{std::chrono::seconds(40)});
    HoldOfOthers::End();
  }
  EXPECT_EQ(test::GetFile(machine.path), Line("late"));
}

TEST(LogTargetDefaultSetLongestWait, HoldsForALockThatIsThere) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  target.SetLongestWait(std::chrono::seconds(7));
  EXPECT_EQ(WaitLeft(target), std::chrono::seconds(7));
}

// ---- When the size is looked at ----

TEST(LogTargetDefaultWrite, ChecksBehindTheRecordThatCrosses900Seconds) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  SetSize(machine.path, kRipe);
  for (const int seconds : {0, 899, 899, 900}) {
    machine.host.clock.now.seconds = kMorning + seconds;
    Log(target, "x");
    EXPECT_EQ(Fields::LastCheckTime(target), kMorning);
    EXPECT_EQ(Fields::LastRecordTime(target), kMorning + seconds);
    EXPECT_EQ(NamesIn(machine), Lines{"Ixer.log"}) << seconds;
  }
  machine.host.clock.now.seconds = kMorning + 1000;
  Log(target, "x");
  EXPECT_EQ(Fields::LastCheckTime(target), kMorning + 900);
  EXPECT_EQ(Fields::LastRecordTime(target), kMorning + 1000);
  EXPECT_EQ(NamesIn(machine), (Lines{"Ixer 2026-11-16 06-37-36.log", "Ixer.log"}));
  EXPECT_TRUE(IsFree(target));
}

TEST(LogTargetDefaultWrite, GoesByTheTimesThatRecordsBring) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  SetSize(machine.path, kRipe);
  machine.host.clock.now.seconds = kMorning + 5000;
  LogAt(target, 1000 * (kMorning + 899), 30, /*useLock=*/true, "x");
  LogAt(target, 1000 * kMorning, 30, /*useLock=*/true, "x");
  Log(target, 20, "x");
  EXPECT_EQ(NamesIn(machine), Lines{"Ixer.log"});
  LogAt(target, 1000 * (kMorning + 900), 30, /*useLock=*/true, "x");
  LogAt(target, 1000 * kMorning, 30, /*useLock=*/true, "x");
  EXPECT_EQ(NamesIn(machine).size(), 2U);
}

TEST(LogTargetDefaultWrite, ChecksLaterWhereTheClockGoesBack) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  SetSize(machine.path, kRipe);
  for (const int seconds : {-5000, -4000, 0, 899, 899}) {
    machine.host.clock.now.seconds = kMorning + seconds;
    Log(target, "x");
  }
  EXPECT_EQ(NamesIn(machine), Lines{"Ixer.log"});
}

TEST(LogTargetDefaultWrite, ChecksNothingBelowTheThreshold) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  SetSize(machine.path, kRipe);
  Fields::LastRecordTime(target) = kMorning + 900;
  Log(target, 20, "x");
  EXPECT_EQ(NamesIn(machine), Lines{"Ixer.log"});
  EXPECT_EQ(Fields::LastCheckTime(target), kMorning);
}

TEST(LogTargetDefaultWrite, NotesACheckThatFoundNothingToDo) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  Fields::LastRecordTime(target) = kMorning + 900;
  Log(target, "x");
  EXPECT_EQ(Fields::LastCheckTime(target), kMorning + 900);
  EXPECT_FALSE(Fields::HeaderPending(target));
  EXPECT_EQ(test::GetFile(machine.path), Line("x"));
}

TEST(LogTargetDefaultWrite, ChecksAgainAfterACheckThatFailed) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  ASSERT_EQ(rename(machine.path.c_str(), machine.Logs("away").c_str()), 0);
  for (int turn = 0; turn < 2; ++turn) {
    Fields::LastRecordTime(target) = kMorning + 900;
    Log(target, "x");
    EXPECT_EQ(Fields::LastCheckTime(target), kMorning);
    EXPECT_TRUE(IsFree(target));
  }
  EXPECT_FALSE(Fields::HeaderPending(target));
  EXPECT_EQ(test::GetFile(machine.Logs("away")), Line("x") + Line("x"));
  ASSERT_EQ(rename(machine.Logs("away").c_str(), machine.path.c_str()), 0);
  Fields::LastRecordTime(target) = kMorning + 900;
  Log(target, "x");
  EXPECT_EQ(Fields::LastCheckTime(target), kMorning + 900);
}

// ---- What a line is ----

TEST(LogTargetDefaultWrite, WritesElevenFields) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  Fields::LogThreadId(target) = true;
  Log(target, dunmar::kWarn, "Started");
  EXPECT_EQ(test::GetFile(machine.path),
            "11/16/26 06:20:56:007 | [WARN] | 1 | 2 | 3 | 4 | 5 | 6 | " +
                std::to_string(platform::CurrentThreadId()) + " | 0 | Started\n");
}

TEST(LogTargetDefaultWrite, LeavesFieldsEmptyForNullTexts) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  EXPECT_TRUE(target.Write(30, nullptr, "2", nullptr, nullptr, nullptr, nullptr, "x",
                           /*arguments=*/nullptr, /*timeMs=*/1500, /*useLock=*/true));
  EXPECT_EQ(test::GetFile(machine.path),
            "01/01/70 00:00:01:500 | [INFO] |  | 2 |  |  |  |  |  | 0 | x\n");
  EXPECT_EQ(Fields::LastRecordTime(target), 1);
}

TEST(LogTargetDefaultWrite, NamesTheEffectiveUser) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  machine.host.identity.user = 4294967294U;
  Log(target, "x");
  EXPECT_EQ(test::GetFile(machine.path),
            "11/16/26 06:20:56:007 | [INFO] | 1 | 2 | 3 | 4 | 5 | 6 |  | 4294967294 | x\n");
}

TEST(LogTargetDefaultWrite, SeparatesByItsSeparator) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  Fields::Separator(target) = ";";
  Log(target, "x");
  EXPECT_EQ(test::GetFile(machine.path), "11/16/26 06:20:56:007;[INFO];1;2;3;4;5;6;;0;x\n");
}

TEST(LogTargetDefaultWrite, FormatsNothingWithoutArguments) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  const std::string message = "%s and %n" + std::string(5000, 'x');
  LogBare(target, message.c_str());
  EXPECT_EQ(test::GetFile(machine.path), Line(message));
}

TEST(LogTargetDefaultWrite, CutsAMessageAt4094Bytes) {
  for (const std::size_t length : {0U, 1U, 4093U, 4094U, 4095U, 4096U, 5000U}) {
    SCOPED_TRACE(length);
    Machine machine;
    OnFile target(machine);
    ASSERT_TRUE(target.Open());
    LogAt(target, 0, 30, /*useLock=*/true, "%s", std::string(length, 'x').c_str());
    EXPECT_EQ(test::GetFile(machine.path),
              Line(std::string(std::min<std::size_t>(length, 4094), 'x')));
  }
}

TEST(LogTargetDefaultWrite, WritesWhatWasFormattedBeforeAFailure) {
  if (test::HasFault(test::Fault::kSetsTheLocale)) GTEST_SKIP() << "GNUstep left the C locale";
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  Log(target, std::string(4000, 'x'));
  ASSERT_EQ(truncate(machine.path.c_str(), 0), 0);
  // No text of the C locale.
  LogAt(target, 0, 30, /*useLock=*/true, "before %ls behind", L"\u0100");
  const std::string line = test::GetFile(machine.path).value_or("");
  EXPECT_TRUE(line == Line("before ") || line == Line("")) << line;
}

TEST(LogTargetDefaultWrite, WritesAnEmptyMessageForANullFormat) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  LogBare(target, nullptr);
  EXPECT_EQ(test::GetFile(machine.path), Line(""));
}

TEST(LogTargetDefaultWrite, LetsNoAccessTokenThrough) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  Log(target, dunmar::kError, "a eyJhbGciOi.eyJzdWIi.x");
  Log(target, dunmar::kError, "x.eyJabc");
  EXPECT_EQ(test::GetFile(machine.path),
            Line("Found access/device token. Log skipped.", "WARN") + Line("x.eyJabc", "ERROR"));
}

TEST(LogTargetDefaultWrite, MasksCredentials) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  Log(target, "login <User>bob</User> <Password>x</Password>");
  EXPECT_EQ(test::GetFile(machine.path), Line("login <User>****</User> <Password>****</Password>"));
}

TEST(LogTargetDefaultWrite, WritesTextAndLineEndAtOnce) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  const CallCounter counter;
  const std::string longMessage(4094, 'x');
  Log(target, "short");
  Log(target, longMessage);
  EXPECT_EQ(CallCounter::Writes(), (Lines{Line("short"), Line(longMessage)}));
}

TEST(LogTargetDefaultWrite, WritesRecordsOfAnyLengthInFull) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  // Closing tags that stand first: each masked key doubles the message.
  const std::string text(3900, 'x');
  Log(target, "</user></password>" + text + "<password><user>");
  const std::string grown = "</user></password>" + text + "<password>****</password>" + text +
                            "<password><user>****</user></password>" + text + "<password><user>";
  const std::string huge(300000, 'y');
  LogBare(target, huge.c_str());
  EXPECT_EQ(test::GetFile(machine.path), Line(grown) + Line(huge));
}

TEST(LogTargetDefaultWrite, PassesEveryByteThrough) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  std::string bytes;
  for (int byte = 1; byte < 256; ++byte) bytes += static_cast<char>(byte);
  Log(target, bytes);
  EXPECT_EQ(test::GetFile(machine.path), Line(bytes));
}

// ---- Failing streams and lines ----

TEST(LogTargetDefaultWrite, DropsRecordsFromAFailedWriteUntilReopened) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  Log(target, "first");
  {
    platform::ScopedSystemCalls calls;
    calls->write = [](int, const void*, std::size_t) -> ssize_t {
      errno = ENOSPC;
      return -1;
    };
    Log(target, "lost");
    EXPECT_TRUE(Fields::Stream(target).bad());
    EXPECT_TRUE(IsFree(target));
  }
  Log(target, "lost too");
  EXPECT_TRUE(IsFree(target));
  EXPECT_EQ(test::GetFile(machine.path), Line("first"));
  EXPECT_TRUE(target.Open());
  Log(target, "last");
  EXPECT_EQ(test::GetFile(machine.path), Line("first") + Line("last"));
}

TEST(LogTargetDefaultClose, LeavesAFailedStreamToItsNextOpening) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  Fields::Stream(target).setstate(std::ios_base::badbit);
  EXPECT_TRUE(target.Close());
  EXPECT_FALSE(Fields::IsOpen(target));
  EXPECT_TRUE(Fields::Stream(target).is_open());
  EXPECT_TRUE(target.Open());
  Log(target, "x");
  EXPECT_EQ(test::GetFile(machine.path), Line("x"));
}

class ThrowsOnWriteLine : public LogTargetDefault {
 public:
  using LogTargetDefault::LogTargetDefault;
  void WriteLine(std::string_view text) override {
    if (throws) throw std::bad_alloc();
    LogTargetDefault::WriteLine(text);
  }
  bool throws = false;
};

TEST(LogTargetDefaultWrite, GivesTheLockBackWhenMemoryRunsOut) {
  Machine machine;
  OnFileOf<ThrowsOnWriteLine> target(machine);
  ASSERT_TRUE(target.Open());
  target.throws = true;
  EXPECT_THROW(Log(target, "lost"), std::bad_alloc);
  EXPECT_TRUE(IsFree(target));
  Fields::HeaderPending(target) = true;
  EXPECT_THROW(Log(target, "lost"), std::bad_alloc);
  EXPECT_TRUE(IsFree(target));
  target.throws = false;
  Log(target, "kept");
  EXPECT_EQ(test::GetFile(machine.path), Line("kept"));
}

TEST(LogTargetDefaultWrite, GivesTheLockBackWhenTheRotationThrows) {
  Machine machine;
  OnFileOf<FailsToReopen> target(machine);
  ASSERT_TRUE(target.Open());
  target.throws = true;
  SetSize(machine.path, kRipe);
  Fields::LastRecordTime(target) = kMorning + 900;
  EXPECT_THROW(Log(target, "lost"), std::bad_alloc);
  EXPECT_TRUE(IsFree(target));
}

// ---- The header ----

TEST(LogTargetDefaultWrite, WritesThePendingHeaderFirstAtItsOwnLevelAndTime) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  Fields::SessionHeader(target) = {
      .topLine = "top", .entries = {{"b: ", "2"}, {"a: ", "1"}}, .bottomLine = "bottom"};
  Fields::HeaderPending(target) = true;
  Log(target, 20, "below");
  EXPECT_TRUE(Fields::HeaderPending(target));
  LogAt(target, 1500, dunmar::kError, /*useLock=*/true, "first %d", 1);
  EXPECT_FALSE(Fields::HeaderPending(target));
  Log(target, "second");
  EXPECT_EQ(test::GetFile(machine.path),
            HeaderLine("top") + HeaderLine("a: 1") + HeaderLine("b: 2") + HeaderLine("bottom") +
                "01/01/70 00:00:01:500 | [ERROR] | 1 | 2 | 3 | 4 | 5 | 6 |  | 0 | first 1\n" +
                Line("second"));
}

TEST(LogTargetDefaultWrite, DropsThePendingHeaderAtAThresholdOf40) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  Fields::Level(target) = 40;
  Fields::HeaderPending(target) = true;
  Log(target, dunmar::kWarn, "x");
  EXPECT_FALSE(Fields::HeaderPending(target));
  EXPECT_EQ(test::GetFile(machine.path), Line("x", "WARN"));
}

TEST(LogTargetDefaultWrite, TakesTheLockOnceForHeaderAndRecord) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  Fields::HeaderPending(target) = true;
  const CallCounter counter;
  Log(target, "x");
  EXPECT_EQ(CallCounter::Semops(), 2);
}

void WriteHeader(LogTargetDefault& target, const HeaderBlock* block) {
  target.WriteHeader(dunmar::kWarn, "1", "2", "3", "4", block, /*useLock=*/true);
}

TEST(LogTargetDefaultWriteHeader, RepeatsTheStoredLinesWithoutABlock) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  Fields::SessionHeader(target) = {
      .topLine = "top", .entries = {{"100% ", "%s %n"}}, .bottomLine = "bottom"};
  WriteHeader(target, nullptr);
  WriteHeader(target, nullptr);
  const std::string once =
      HeaderLine("top", "WARN") + HeaderLine("100% %s %n", "WARN") + HeaderLine("bottom", "WARN");
  EXPECT_EQ(test::GetFile(machine.path), once + once);
}

TEST(LogTargetDefaultWriteHeader, WritesAGivenBlockAndForgetsIt) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  const HeaderBlock block = {.topLine = "", .entries = {{"a: ", "1"}}, .bottomLine = "end"};
  WriteHeader(target, &block);
  WriteHeader(target, nullptr);
  EXPECT_EQ(test::GetFile(machine.path),
            HeaderLine("a: 1", "WARN") + HeaderLine("end", "WARN") + HeaderLine("header", "WARN"));
}

TEST(LogTargetDefaultWriteHeader, KeepsWhatItMerged) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  Fields::SessionHeader(target) = {
      .topLine = "top", .entries = {{"OS Locale: ", "en_US"}}, .bottomLine = ""};
  const HeaderBlock block = {.topLine = "",
                             .entries = {{"OS Locale: ", "de_DE"}},
                             .bottomLine = "",
                             .mergeIntoStored = true};
  WriteHeader(target, &block);
  WriteHeader(target, nullptr);
  const std::string once = HeaderLine("top", "WARN") + HeaderLine("OS Locale: de_DE", "WARN");
  EXPECT_EQ(test::GetFile(machine.path), once + once);
}

TEST(LogTargetDefaultWriteHeader, LocksEachLineOnRequest) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  Fields::SessionHeader(target) = {.topLine = "top", .entries = {}, .bottomLine = "bottom"};
  Fields::HeaderPending(target) = true;
  {
    const CallCounter counter;
    WriteHeader(target, nullptr);
    EXPECT_EQ(CallCounter::Semops(), 4);
  }
  EXPECT_FALSE(Fields::HeaderPending(target));
  const CallCounter counter;
  target.WriteHeader(30, "1", "2", "3", "4", nullptr, /*useLock=*/false);
  EXPECT_EQ(CallCounter::Semops(), 0);
}

TEST(LogTargetDefaultWriteHeader, TreatsItsLinesAsMessages) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  Fields::SessionHeader(target) = {
      .topLine = "eyJ.eyJ", .entries = {{"<user>", "x</user>"}}, .bottomLine = ""};
  target.WriteHeader(30, "1", "2", "3", "4", nullptr, /*useLock=*/true);
  target.WriteHeader(29, "1", "2", "3", "4", nullptr, /*useLock=*/true);
  EXPECT_EQ(test::GetFile(machine.path),
            HeaderLine("Found access/device token. Log skipped.", "WARN") +
                HeaderLine("<user>****</user>"));
}

// ---- Rotating ----

TEST(LogTargetDefaultCheckRollover, GoesByTheSizeAtEachThreshold) {
  const struct {
    LogLevel threshold;
    off_t limit;
  } rows[] = {{10, 52428800}, {20, 20971520}, {30, 15728640}, {40, 15728640}, {-3, 15728640}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.threshold);
    Machine machine;
    OnFile target(machine);
    ASSERT_TRUE(target.Open());
    Fields::Level(target) = row.threshold;
    SetSize(machine.path, row.limit - 1);
    EXPECT_TRUE(target.CheckRollover());
    EXPECT_FALSE(Fields::HeaderPending(target));
    EXPECT_EQ(NamesIn(machine), Lines{"Ixer.log"});
    SetSize(machine.path, row.limit);
    EXPECT_TRUE(target.CheckRollover());
    EXPECT_TRUE(Fields::HeaderPending(target));
    EXPECT_EQ(NamesIn(machine), (Lines{"Ixer 2026-11-16 06-20-56.log", "Ixer.log"}));
    EXPECT_EQ(SizeOf(machine.copy), row.limit);
    EXPECT_EQ(SizeOf(machine.path), 0);
  }
}

TEST(LogTargetDefaultCheckRollover, CopiesEveryByte) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  Log(target, "first");
  SetSize(machine.path, kRipe);
  ASSERT_TRUE(target.CheckRollover());
  const std::string first = Line("first");
  EXPECT_TRUE(test::GetFile(machine.copy) ==
              first + std::string(static_cast<std::size_t>(kRipe) - first.size(), '\0'));
}

TEST(LogTargetDefaultCheckRollover, NamesTheCopyByLocalTime) {
  Machine machine;
  const test::ScopedTimeZone zone("EAST-3");
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  SetSize(machine.path, kRipe);
  ASSERT_TRUE(target.CheckRollover());
  EXPECT_EQ(NamesIn(machine), (Lines{"Ixer 2026-11-16 09-20-56.log", "Ixer.log"}));
}

TEST(LogTargetDefaultCheckRollover, TakesNoticeOfANewTimeZone) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  SetSize(machine.path, kRipe);
  setenv("TZ", "WEST5", 1);  // put back by the machine
  ASSERT_TRUE(target.CheckRollover());
  EXPECT_EQ(NamesIn(machine), (Lines{"Ixer 2026-11-16 01-20-56.log", "Ixer.log"}));
}

TEST(LogTargetDefaultCheckRollover, EmptiesTheFileInItsPlace) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  test::SetMode(machine.path, 0606);
  const ino_t node = NodeOf(machine.path);
  const int set = SetOf(target);
  // Another process that logs to the file.
  const platform::UniqueFd other(open(machine.path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
  SetSize(machine.path, kRipe);
  ASSERT_TRUE(target.CheckRollover());
  EXPECT_EQ(NodeOf(machine.path), node);
  EXPECT_EQ(test::GetMode(machine.path), 0606U);
  ASSERT_EQ(write(other.Get(), "other's\n", 8), 8);
  Log(target, "x");
  EXPECT_EQ(test::GetFile(machine.path), "other's\n" + HeaderLine("header") + Line("x"));
  EXPECT_TRUE(Fields::IsOpen(target));
  EXPECT_EQ(SetOf(target), set);
  EXPECT_EQ(UserCount(target), 1);
}

TEST(LogTargetDefaultCheckRollover, LeavesStateAndLockAlone) {
  Machine machine;
  OnFile target(machine);
  test::PutFile(machine.path, "");
  SetSize(machine.path, kRipe);
  const CallCounter counter;
  EXPECT_TRUE(target.CheckRollover());
  EXPECT_EQ(CallCounter::Semops(), 0);
  EXPECT_FALSE(Fields::IsOpen(target));
  EXPECT_EQ(Fields::ProcessLock(target), nullptr);
  EXPECT_TRUE(Fields::Stream(target).is_open());
  EXPECT_TRUE(Fields::Stream(target).good());
}

TEST(LogTargetDefaultCheckRollover, PutsTheHeaderInTheFreshFile) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  SetSize(machine.path, kRipe);
  Fields::LastRecordTime(target) = kMorning + 900;
  Log(target, dunmar::kWarn, "first");
  Log(target, dunmar::kWarn, "second");
  EXPECT_EQ(SizeOf(machine.copy), kRipe);
  EXPECT_EQ(test::GetFile(machine.path),
            HeaderLine("header") + Line("first", "WARN") + Line("second", "WARN"));
}

TEST(LogTargetDefaultCheckRollover, FailsWhereTheFileIsGone) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  ASSERT_EQ(unlink(machine.path.c_str()), 0);
  EXPECT_FALSE(target.CheckRollover());
  EXPECT_FALSE(Fields::HeaderPending(target));
  EXPECT_TRUE(Fields::Stream(target).is_open());
  EXPECT_EQ(NamesIn(machine), Lines{});
}

TEST(LogTargetDefaultCheckRollover, LooksAtALinkAndNotBehindIt) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  ASSERT_EQ(unlink(machine.path.c_str()), 0);
  test::PutFile(machine.folder.Join("victim"), "victim");
  SetSize(machine.folder.Join("victim"), kRipe);
  test::MakeLink(machine.path, machine.folder.Join("victim"));
  EXPECT_TRUE(target.CheckRollover());
  EXPECT_FALSE(Fields::HeaderPending(target));
  EXPECT_EQ(SizeOf(machine.folder.Join("victim")), kRipe);
  EXPECT_EQ(NamesIn(machine), Lines{"Ixer.log"});
}

TEST(LogTargetDefaultCheckRollover, ReplacesALinkAtTheCopysName) {
  Machine machine;
  test::PutFile(machine.folder.Join("victim"), "victim");
  for (const std::string destination : {"victim", "dangling"}) {
    SCOPED_TRACE(destination);
    OnFile target(machine);
    ASSERT_TRUE(target.Open());
    (void)unlink(machine.copy.c_str());
    test::MakeLink(machine.copy, machine.folder.Join(destination));
    SetSize(machine.path, kRipe);
    EXPECT_TRUE(target.CheckRollover());
    EXPECT_EQ(test::GetLink(machine.copy), std::nullopt);
    EXPECT_EQ(SizeOf(machine.copy), kRipe);
    EXPECT_EQ(SizeOf(machine.path), 0);
  }
  EXPECT_EQ(test::GetFile(machine.folder.Join("victim")), "victim");
  EXPECT_FALSE(test::IsThere(machine.folder.Join("dangling")));
}

TEST(LogTargetDefaultCheckRollover, KeepsTheFileWhereTheCopyFails) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  test::MakeDirs(machine.copy);  // in the copy's place, and not empty
  test::PutFile(machine.copy + "/inside", "");
  test::PutFile(machine.Logs("Ixer 2026-11-10 10-00-00.log"), "old");
  Log(target, "before");
  SetSize(machine.path, kRipe);
  EXPECT_TRUE(target.CheckRollover());
  EXPECT_EQ(SizeOf(machine.path), kRipe);
  EXPECT_TRUE(Fields::HeaderPending(target));
  EXPECT_FALSE(test::IsThere(machine.Logs("Ixer 2026-11-10 10-00-00.log")));
  Log(target, "behind");
  EXPECT_EQ(SizeOf(machine.path),
            kRipe + static_cast<off_t>((HeaderLine("header") + Line("behind")).size()));
}

TEST(LogTargetDefaultCheckRollover, FailsForAFileOfSeveralNames) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  SetSize(machine.path, kRipe);
  test::MakeHardLink(machine.folder.Join("second"), machine.path);
  Fields::LastRecordTime(target) = kMorning + 900;
  Log(target, "lost");
  EXPECT_EQ(Fields::LastCheckTime(target), kMorning);
  EXPECT_TRUE(IsFree(target));
  EXPECT_EQ(SizeOf(machine.path), kRipe);
  EXPECT_EQ(SizeOf(machine.copy), std::nullopt);
  ASSERT_EQ(unlink(machine.folder.Join("second").c_str()), 0);
  ASSERT_TRUE(target.Open());
  Log(target, "kept");
  EXPECT_EQ(test::GetFile(machine.path), HeaderLine("header") + Line("kept"));
}

TEST(LogTargetDefaultCheckRollover, NeverRotatesBelowALinkedFolder) {
  Machine machine;
  test::MakeLink(machine.folder.Join("linked"), machine.folder.Join("logs"));
  OnFile target(machine.folder.Join("linked/Ixer.log"));
  ASSERT_TRUE(target.Open());
  SetSize(machine.path, kRipe);
  Fields::LastRecordTime(target) = kMorning + 900;
  Log(target, "x");
  EXPECT_EQ(Fields::LastCheckTime(target), kMorning + 900);
  EXPECT_EQ(SizeOf(machine.path),
            kRipe + static_cast<off_t>((HeaderLine("header") + Line("x")).size()));
  EXPECT_EQ(NamesIn(machine), Lines{"Ixer.log"});
}

TEST(LogTargetDefaultCheckRollover, WritesTheCopyOverAnOlderOneOfTheSameSecond) {
  Machine machine;
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  test::PutFile(machine.copy, std::string(20 << 20, 'x'));
  SetSize(machine.path, kRipe);
  EXPECT_TRUE(target.CheckRollover());
  EXPECT_EQ(SizeOf(machine.copy), kRipe);
}

TEST(LogTargetDefaultCheckRollover, MakesTheCopyWithTheDefaultMode) {
  Machine machine;
  const test::ScopedUmask umask(002);
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  SetSize(machine.path, kRipe);
  EXPECT_TRUE(target.CheckRollover());
  EXPECT_EQ(test::GetMode(machine.copy), 0664U);
}

TEST(LogTargetDefaultCheckRollover, WorksInTheWorkingFolder) {
  Machine machine;
  const platform::UniqueFd previous(open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ASSERT_EQ(chdir(machine.folder.Join("logs").c_str()), 0);
  {
    OnFile target("Ixer.log"s);
    EXPECT_TRUE(target.Open());
    SetSize(machine.path, kRipe);
    EXPECT_TRUE(target.CheckRollover());
  }
  ASSERT_EQ(fchdir(previous.Get()), 0);
  EXPECT_EQ(NamesIn(machine), (Lines{"Ixer 2026-11-16 06-20-56.log", "Ixer.log"}));
}

// ---- Pruning ----

// A machine with old copies and other files beside the log, after a rotation.
Lines NamesAfterRotation(const Machine& machine) {
  OnFile target(machine);
  EXPECT_TRUE(target.Open());
  SetSize(machine.path, kRipe);
  EXPECT_TRUE(target.CheckRollover());
  return NamesIn(machine);
}

TEST(LogTargetDefaultCheckRollover, KeepsTheFourNewestCopies) {
  Machine machine;
  for (const char digit : "1234567"s) {
    test::PutFile(machine.Logs(std::string("Ixer 2026-11-16 00-00-0") + digit + ".log"), "old");
  }
  EXPECT_EQ(NamesAfterRotation(machine),
            (Lines{"Ixer 2026-11-16 00-00-05.log", "Ixer 2026-11-16 00-00-06.log",
                   "Ixer 2026-11-16 00-00-07.log", "Ixer 2026-11-16 06-20-56.log", "Ixer.log"}));
}

TEST(LogTargetDefaultCheckRollover, RemovesCopiesOlderThanFourDays) {
  Machine machine;
  test::PutFile(machine.Logs("Ixer 2026-11-11 23-59-59.log"), "old");
  test::PutFile(machine.Logs("Ixer 2026-11-12 23-59-59.log"), "old");
  test::PutFile(machine.Logs("Ixer 2026-11-13 00-00-00.log"), "old");
  EXPECT_EQ(NamesAfterRotation(machine),
            (Lines{"Ixer 2026-11-13 00-00-00.log", "Ixer 2026-11-16 06-20-56.log", "Ixer.log"}));
}

TEST(LogTargetDefaultCheckRollover, RemovesNoFilesOfOthers) {
  Machine machine;
  for (const char* name : {".Ixer 2026-11-01.log", "Other.log", "ixer 2026-11-01 00-00-00.log",
                           "sub/Ixer 2026-11-01 00-00-00.log"}) {
    test::PutFile(machine.Logs(name), "other's");
  }
  EXPECT_EQ(NamesAfterRotation(machine),
            (Lines{".Ixer 2026-11-01.log", "Ixer 2026-11-16 06-20-56.log", "Ixer.log", "Other.log",
                   "ixer 2026-11-01 00-00-00.log", "sub", "sub/Ixer 2026-11-01 00-00-00.log"}));
}

TEST(LogTargetDefaultCheckRollover, PrunesOnlyWhenItRotates) {
  Machine machine;
  test::PutFile(machine.Logs("Ixer 2026-11-01 00-00-00.log"), "old");
  OnFile target(machine);
  ASSERT_TRUE(target.Open());
  SetSize(machine.path, kRipe - 1);
  EXPECT_TRUE(target.CheckRollover());
  EXPECT_EQ(NamesIn(machine), (Lines{"Ixer 2026-11-01 00-00-00.log", "Ixer.log"}));
}

// Whether an old copy stays at a rotation.
bool IsCopyKept(const Machine& machine) {
  test::PutFile(machine.Logs("Ixer 2026-11-01 00-00-00.log"), "old");
  (void)NamesAfterRotation(machine);
  return test::IsThere(machine.Logs("Ixer 2026-11-01 00-00-00.log"));
}

TEST(LogTargetDefaultCheckRollover, KeepsOldCopiesWhereAMarkerSaysExactlySo) {
  Machine machine;
  for (const std::string& text : {"keeplogs"s, "keeplogs\0"s, "keeplogs\0 and more"s}) {
    SCOPED_TRACE(text);
    test::PutFile(machine.Logs("kobb.trace"), text);
    EXPECT_TRUE(IsCopyKept(machine));
  }
  for (const std::string& text : {""s, "keeplogs\n"s, "KEEPLOGS"s, "Keeplogs"s, "keeplog"s,
                                  " keeplogs"s, "keeplogsx"s, "keeplogs keeplogs"s, "keep\0ogs"s}) {
    SCOPED_TRACE(text);
    test::PutFile(machine.Logs("kobb.trace"), text);
    EXPECT_FALSE(IsCopyKept(machine));
  }
}

TEST(LogTargetDefaultCheckRollover, TakesNothingButAFileForAMarker) {
  Machine machine;
  EXPECT_FALSE(IsCopyKept(machine));
  test::MakeFifo(machine.Logs("kobb.trace"));
  EXPECT_FALSE(IsCopyKept(machine));
  ASSERT_EQ(unlink(machine.Logs("kobb.trace").c_str()), 0);
  test::MakeDirs(machine.Logs("kobb.trace"));
  EXPECT_FALSE(IsCopyKept(machine));
  ASSERT_EQ(rmdir(machine.Logs("kobb.trace").c_str()), 0);
  test::MakeLink(machine.Logs("kobb.trace"), "nowhere");
  EXPECT_FALSE(IsCopyKept(machine));
  ASSERT_EQ(unlink(machine.Logs("kobb.trace").c_str()), 0);
  test::PutFile(machine.folder.Join("elsewhere"), "keeplogs");
  test::MakeLink(machine.Logs("kobb.trace"), machine.folder.Join("elsewhere"));
  EXPECT_TRUE(IsCopyKept(machine));
}

TEST(LogTargetDefaultCheckRollover, KeepsEveryCopyWithTheMarker) {
  Machine machine;
  test::PutFile(machine.Logs("kobb.trace"), "keeplogs");
  for (const char digit : "1234567"s) {
    test::PutFile(machine.Logs(std::string("Ixer 2026-11-16 00-00-0") + digit + ".log"), "old");
  }
  EXPECT_EQ(NamesAfterRotation(machine).size(), 10U);
}

}  // namespace
