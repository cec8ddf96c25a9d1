#ifndef TESTS_LOG_LOCK_ON_FILE_H_
#define TESTS_LOG_LOCK_ON_FILE_H_

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <functional>
#include <gtest/gtest.h>
#include <poll.h>
#include <sched.h>
#include <string>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "platform/monotonic_time.h"
#include "platform/system_calls.h"
#include "platform/system_calls_for_testing.h"
#include "platform/unique_fd.h"
#include "tests/support/files.h"
#include "tests/support/scoped_temp_dir.h"

// What tests of the cross-process lock share.

namespace test {

using platform::SemaphoreArgument;

inline constexpr int kProject = 11;
inline constexpr std::chrono::seconds kPatience(20);

inline int Control(int set, int semaphore, int command, SemaphoreArgument argument = {.val = 0}) {
  return platform::Calls().semctl(set, semaphore, command, argument);
}

inline int Value(int set, int semaphore) { return Control(set, semaphore, GETVAL); }

inline void SetValue(int set, int semaphore, int value) {
  ASSERT_NE(Control(set, semaphore, SETVAL, {.val = value}), -1);
}

inline struct semid_ds Status(int set) {
  struct semid_ds status = {};
  EXPECT_NE(Control(set, 0, IPC_STAT, {.buf = &status}), -1);
  return status;
}

// Adds to the value of a semaphore without waiting, as a lock object does.
inline void Add(int set, unsigned short semaphore, short change) {
  sembuf operation = {};
  operation.sem_num = semaphore;
  operation.sem_op = change;
  operation.sem_flg = IPC_NOWAIT;
  ASSERT_EQ(semop(set, &operation, 1), 0);
}

// Waits until so many threads wait for the lock: that they wait shows in the kernel.
inline void AwaitWaiting(int set, int count) {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (Control(set, 1, GETNCNT) != count) {
    ASSERT_LT(std::chrono::steady_clock::now(), end) << "nobody waits";
    sched_yield();
  }
}

// One side says, the other hears, across processes.
class Signal {
 public:
  Signal() {
    int ends[2] = {-1, -1};
    EXPECT_EQ(pipe(ends), 0);
    reader_.Reset(ends[0]);
    writer_.Reset(ends[1]);
  }
  void Say() const { EXPECT_EQ(write(writer_.Get(), "x", 1), 1); }
  [[nodiscard]] bool WasSaid() const { return HeardWithin(0); }
  void Hear() const {
    ASSERT_TRUE(HeardWithin(static_cast<int>(std::chrono::milliseconds(kPatience).count())));
    char byte = 0;
    ASSERT_EQ(read(reader_.Get(), &byte, 1), 1);
  }
  [[nodiscard]] int WriterFd() const { return writer_.Get(); }

 private:
  [[nodiscard]] bool HeardWithin(int milliseconds) const {
    pollfd reader = {.fd = reader_.Get(), .events = POLLIN, .revents = 0};
    return poll(&reader, 1, milliseconds) == 1;
  }

  platform::UniqueFd reader_;
  platform::UniqueFd writer_;
};

// A child process that runs beside the test.
class OtherProcess {
 public:
  explicit OtherProcess(const std::function<void()>& body) {
    std::fflush(nullptr);
    child_ = fork();
    EXPECT_NE(child_, -1);
    if (child_ != 0) return;
    body();
    std::fflush(nullptr);
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  ~OtherProcess() {
    if (child_ > 0) Kill();
  }
  OtherProcess(const OtherProcess&) = delete;
  OtherProcess& operator=(const OtherProcess&) = delete;

  [[nodiscard]] pid_t Id() const { return child_; }
  void Kill() {
    EXPECT_EQ(kill(child_, SIGKILL), 0);
    (void)Wait();
  }
  void Join() { EXPECT_EQ(Wait(), 0) << "failed in the other process"; }

 private:
  [[nodiscard]] int Wait() {
    int status = -1;
    EXPECT_EQ(waitpid(std::exchange(child_, -1), &status, 0) == -1, false);
    return status;
  }

  pid_t child_ = -1;
};

// A file for a lock, whose set is gone when the test ends.
class LockOnFile : public testing::Test {
 public:
  LockOnFile(const LockOnFile&) = delete;
  LockOnFile& operator=(const LockOnFile&) = delete;

 protected:
  LockOnFile() = default;
  // After the lock objects of derived fixtures have detached.
  ~LockOnFile() override {
    const int set = Set();
    EXPECT_EQ(set, -1) << "set left behind";
    if (set != -1) RemoveSet();
  }
  void SetUp() override {
    PutFile(path_, "");
    // Where no set was ever made the first one has the number 0, which a destructor leaves alone.
    Control(semget(IPC_PRIVATE, 1, 0600), 0, IPC_RMID);
  }

  [[nodiscard]] key_t Key() const { return ftok(path_.c_str(), kProject); }
  [[nodiscard]] int Set() const { return semget(Key(), 0, 0); }
  // A set as its creator makes it, before it frees the lock.
  int MakeSet(int semaphores = 2, int mode = 0666) const {
    const int set = semget(Key(), semaphores, IPC_CREAT | IPC_EXCL | mode);
    EXPECT_NE(set, -1);
    return set;
  }
  void RemoveSet() const { EXPECT_EQ(Control(Set(), 0, IPC_RMID), 0); }
  void ExpectValues(int users, int lock) const {
    EXPECT_EQ(Value(Set(), 0), users);
    EXPECT_EQ(Value(Set(), 1), lock);
  }

  const ScopedTempDir dir_;
  const std::string path_ = dir_.Join("log");
};

// What befalls a call of `semctl` with this command, or of `semop` whose first operation makes this
// change of this semaphore, so many times.
struct SemaphoreFault {
  int command = -1;
  int semaphore = -1;
  short change = 0;
  int error = 0;                        // the call fails; 0: it is made
  int failures = 1 << 20;               // counted down
  std::function<void()> act = nullptr;  // first, where there is one
};

// The faults of `semctl` and `semop` in force for a scope.
class ScopedSemaphoreFault {
 public:
  explicit ScopedSemaphoreFault(SemaphoreFault what) {
    static const auto kSemctl = platform::Calls().semctl;
    fault = std::move(what);
    calls_->semctl = [](int set, int semaphore, int command, SemaphoreArgument argument) {
      if (command == fault.command && Strikes()) return -1;
      return kSemctl(set, semaphore, command, argument);
    };
    calls_->semop = [](int set, struct sembuf* operations, std::size_t count) {
      const bool isMeant =
          operations->sem_num == fault.semaphore && operations->sem_op == fault.change;
      if (isMeant && Strikes()) return -1;
      return ::semop(set, operations, count);
    };
  }
  ~ScopedSemaphoreFault() { fault = {}; }
  ScopedSemaphoreFault(const ScopedSemaphoreFault&) = delete;
  ScopedSemaphoreFault& operator=(const ScopedSemaphoreFault&) = delete;

  static int Left() { return fault.failures; }

 private:
  static bool Strikes() {
    if (fault.failures == 0) return false;
    --fault.failures;
    if (fault.act) fault.act();
    errno = fault.error;
    return fault.error != 0;
  }

  static inline SemaphoreFault fault;
  platform::ScopedSystemCalls calls_;
};

// Time that passes only while somebody sleeps, for a scope; what happens in each sleep, or what it
// ends with, is up to the test.
class FakeTime {
 public:
  explicit FakeTime(std::function<void(int count)> whileAsleep = [](int) {}) {
    now = std::chrono::hours(1);
    sleeps.clear();
    meanwhile = std::move(whileAsleep);
    calls->clockGettime = [](clockid_t clock, timespec* time) {
      EXPECT_EQ(clock, CLOCK_MONOTONIC);
      *time = platform::ToTimespec(now);
      return 0;
    };
    calls->nanosleep = [](const timespec* time, timespec*) {
      const auto length =
          std::chrono::seconds(time->tv_sec) + std::chrono::nanoseconds(time->tv_nsec);
      now += length;
      sleeps.push_back(length);
      meanwhile(static_cast<int>(sleeps.size()));
      return 0;
    };
  }
  ~FakeTime() { meanwhile = nullptr; }
  FakeTime(const FakeTime&) = delete;
  FakeTime& operator=(const FakeTime&) = delete;

  static inline std::chrono::nanoseconds now;
  static inline std::vector<std::chrono::nanoseconds> sleeps;

  platform::ScopedSystemCalls calls;

 private:
  static inline std::function<void(int)> meanwhile;
};

}  // namespace test

#endif  // TESTS_LOG_LOCK_ON_FILE_H_
