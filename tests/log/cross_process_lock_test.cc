#include "log/cross_process_lock.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <poll.h>
#include <sched.h>
#include <string>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include "log/cross_process_lock_for_testing.h"
#include "platform/system_calls.h"
#include "platform/system_calls_for_testing.h"
#include "platform/unique_fd.h"
#include "tests/log/lock_on_file.h"
#include "tests/support/files.h"
#include "tests/support/run_in_root.h"
#include "tests/support/scoped_temp_dir.h"

namespace test {

namespace {

using dunmar::CrossProcessLock;
using dunmar::SemaphoreSetForTesting;
using Lines = std::vector<std::string>;

constexpr int kMostUsers = 32767;

using CrossProcessLockTest = LockOnFile;

// What the calls were, in order, with the flags by name.
Lines record;

std::string Described(short flags) {
  if (flags == IPC_NOWAIT) return "IPC_NOWAIT";
  return flags == SEM_UNDO ? "SEM_UNDO" : std::to_string(flags);
}

std::string DescribedCommand(int command) {
  if (command == GETVAL) return "GETVAL";
  if (command == SETVAL) return "SETVAL";
  if (command == GETPID) return "GETPID";
  if (command == IPC_STAT) return "IPC_STAT";
  return command == IPC_RMID ? "IPC_RMID" : std::to_string(command);
}

void Record(platform::ScopedSystemCalls* calls) {
  record.clear();
  (*calls)->semget = [](key_t key, int count, int flags) {
    record.push_back("semget " + std::to_string(count) + " " + std::to_string(flags));
    return ::semget(key, count, flags);
  };
  (*calls)->semop = [](int set, struct sembuf* operations, std::size_t count) {
    EXPECT_EQ(count, 1U);
    record.push_back("semop " + std::to_string(operations->sem_num) + " " +
                     std::to_string(operations->sem_op) + " " + Described(operations->sem_flg));
    return ::semop(set, operations, count);
  };
  static const auto kSemctl = platform::Calls().semctl;
  (*calls)->semctl = [](int set, int semaphore, int command, SemaphoreArgument argument) {
    record.push_back("semctl " + std::to_string(semaphore) + " " + DescribedCommand(command) +
                     (command == SETVAL ? " " + std::to_string(argument.val) : ""));
    return kSemctl(set, semaphore, command, argument);
  };
}

// Attaching and detaching.

TEST_F(CrossProcessLockTest, AttachingMakesASetForEverybody) {
  const ScopedUmask mask(077);
  CrossProcessLock lock;
  EXPECT_EQ(SemaphoreSetForTesting(lock), -1);
  EXPECT_TRUE(lock.Attach(path_, kProject));
  EXPECT_EQ(SemaphoreSetForTesting(lock), Set());
  const struct semid_ds status = Status(Set());
  EXPECT_EQ(status.sem_nsems, 2U);
  EXPECT_EQ(status.sem_perm.mode & 0777, 0666);
  ExpectValues(1, 1);
  EXPECT_TRUE(lock.Detach());
  EXPECT_EQ(SemaphoreSetForTesting(lock), -1);
  EXPECT_EQ(Set(), -1);
}

TEST_F(CrossProcessLockTest, TwoObjectsShareOneSetUntilTheSecondDetaches) {
  CrossProcessLock first;
  CrossProcessLock second;
  EXPECT_TRUE(first.Attach(path_, kProject));
  ExpectValues(1, 1);
  EXPECT_TRUE(second.Attach(path_, kProject));
  EXPECT_EQ(SemaphoreSetForTesting(first), SemaphoreSetForTesting(second));
  ExpectValues(2, 1);
  EXPECT_TRUE(first.Detach());
  ExpectValues(1, 1);
  EXPECT_TRUE(second.Detach());
  EXPECT_EQ(Set(), -1);
}

TEST_F(CrossProcessLockTest, AttachingToAMissingPathFails) {
  CrossProcessLock lock;
  EXPECT_FALSE(lock.Attach(dir_.Join("missing"), kProject));
  EXPECT_EQ(SemaphoreSetForTesting(lock), -1);
  EXPECT_FALSE(lock.Attach("", kProject));
  EXPECT_EQ(SemaphoreSetForTesting(lock), -1);
}

TEST_F(CrossProcessLockTest, AttachingTwiceCountsOnce) {
  CrossProcessLock lock;
  EXPECT_TRUE(lock.Attach(path_, kProject));
  const int set = Set();
  EXPECT_TRUE(lock.Attach(path_, kProject));
  EXPECT_TRUE(lock.Attach(dir_.Join("missing"), kProject));
  EXPECT_EQ(SemaphoreSetForTesting(lock), set);
  ExpectValues(1, 1);
  EXPECT_TRUE(lock.Detach());
}

TEST_F(CrossProcessLockTest, DetachingADetachedObjectChangesNothing) {
  CrossProcessLock attached;
  EXPECT_TRUE(attached.Attach(path_, kProject));
  CrossProcessLock lock;
  EXPECT_TRUE(lock.Detach());
  EXPECT_EQ(SemaphoreSetForTesting(lock), -1);
  ExpectValues(1, 1);
  EXPECT_TRUE(attached.Detach());
  EXPECT_TRUE(attached.Detach());
}

TEST_F(CrossProcessLockTest, AttachesAgainAfterDetaching) {
  CrossProcessLock lock;
  EXPECT_TRUE(lock.Attach(path_, kProject));
  EXPECT_TRUE(lock.Detach());
  EXPECT_TRUE(lock.Attach(path_, kProject));
  ExpectValues(1, 1);
  EXPECT_TRUE(lock.Acquire());
  EXPECT_TRUE(lock.Release());
  EXPECT_TRUE(lock.Detach());
}

TEST_F(CrossProcessLockTest, TheDestructorDetaches) {
  {
    CrossProcessLock first;
    EXPECT_TRUE(first.Attach(path_, kProject));
    {
      CrossProcessLock second;
      EXPECT_TRUE(second.Attach(path_, kProject));
      ExpectValues(2, 1);
    }
    ExpectValues(1, 1);
  }
  EXPECT_EQ(Set(), -1);
}

TEST_F(CrossProcessLockTest, OtherFilesAndOtherProjectsHaveOtherSets) {
  PutFile(dir_.Join("other"), "");
  CrossProcessLock lock;
  CrossProcessLock otherFile;
  CrossProcessLock otherProject;
  EXPECT_TRUE(lock.Attach(path_, kProject));
  EXPECT_TRUE(otherFile.Attach(dir_.Join("other"), kProject));
  EXPECT_TRUE(otherProject.Attach(path_, 12));
  EXPECT_NE(SemaphoreSetForTesting(lock), SemaphoreSetForTesting(otherFile));
  EXPECT_NE(SemaphoreSetForTesting(lock), SemaphoreSetForTesting(otherProject));
  ExpectValues(1, 1);
}

TEST_F(CrossProcessLockTest, OfTheProjectTheLowByteCounts) {
  CrossProcessLock lock;
  CrossProcessLock other;
  EXPECT_TRUE(lock.Attach(path_, kProject));
  EXPECT_TRUE(other.Attach(path_, 256 + kProject));
  EXPECT_EQ(SemaphoreSetForTesting(lock), SemaphoreSetForTesting(other));
}

TEST_F(CrossProcessLockTest, CountsTheUsersOfAllProcesses) {
  CrossProcessLock lock;
  EXPECT_TRUE(lock.Attach(path_, kProject));
  RunInChild([&] {
    CrossProcessLock other;
    EXPECT_TRUE(other.Attach(path_, kProject));
    ExpectValues(2, 1);
    EXPECT_TRUE(other.Detach());
  });
  ExpectValues(1, 1);
}

TEST_F(CrossProcessLockTest, AProcessThatDiesStaysCounted) {
  OtherProcess other([&] {
    CrossProcessLock lock;
    EXPECT_TRUE(lock.Attach(path_, kProject));
    _exit(0);
  });
  other.Join();
  ExpectValues(1, 1);
  CrossProcessLock lock;
  EXPECT_TRUE(lock.Attach(path_, kProject));
  ExpectValues(2, 1);
  EXPECT_TRUE(lock.Detach());
  ExpectValues(1, 1);
  RemoveSet();
}

// The calls.

TEST_F(CrossProcessLockTest, MakesTheseCallsInThisOrder) {
  platform::ScopedSystemCalls calls;
  CrossProcessLock first;
  CrossProcessLock second;
  Record(&calls);
  EXPECT_TRUE(first.Attach(path_, kProject));
  EXPECT_EQ(record, Lines({"semget 0 0", "semget 2 950", "semctl 1 GETPID", "semctl 0 GETVAL",
                           "semctl 1 SETVAL 1", "semop 0 1 IPC_NOWAIT"}));
  record.clear();
  EXPECT_TRUE(second.Attach(path_, kProject));
  EXPECT_EQ(record, Lines({"semget 0 0", "semctl 1 GETVAL", "semop 0 1 IPC_NOWAIT"}));
  record.clear();
  EXPECT_TRUE(second.Attach(path_, kProject));
  EXPECT_EQ(record, Lines());
  EXPECT_TRUE(first.Acquire());
  EXPECT_EQ(record, Lines({"semop 1 -1 SEM_UNDO"}));
  record.clear();
  EXPECT_TRUE(first.Release());
  EXPECT_EQ(record, Lines({"semop 1 1 SEM_UNDO"}));
  record.clear();
  EXPECT_TRUE(first.Detach());
  EXPECT_EQ(record, Lines({"semop 0 -1 IPC_NOWAIT", "semctl 0 GETVAL"}));
  record.clear();
  EXPECT_TRUE(second.Detach());
  EXPECT_EQ(record, Lines({"semop 0 -1 IPC_NOWAIT", "semctl 0 GETVAL", "semctl 0 IPC_RMID"}));
  record.clear();
  EXPECT_TRUE(second.Detach());
  EXPECT_EQ(record, Lines());
}

TEST_F(CrossProcessLockTest, DetachedOrLeftAloneItTakesNothing) {
  CrossProcessLock lock;
  EXPECT_FALSE(lock.Acquire());
  EXPECT_FALSE(lock.Release());
  EXPECT_FALSE(lock.Acquire());
  EXPECT_TRUE(lock.Attach(path_, kProject));
  EXPECT_TRUE(lock.Acquire());
  ExpectValues(1, 0);
  EXPECT_TRUE(lock.Release());
  EXPECT_TRUE(lock.Detach());
  EXPECT_FALSE(lock.Acquire());
}

// Waiting.

TEST_F(CrossProcessLockTest, ASecondProcessWaitsForTheRelease) {
  CrossProcessLock lock;
  ASSERT_TRUE(lock.Attach(path_, kProject));
  ASSERT_TRUE(lock.Acquire());
  const Signal acquired;
  OtherProcess other([&] {
    CrossProcessLock its;
    EXPECT_TRUE(its.Attach(path_, kProject));
    EXPECT_TRUE(its.Acquire());
    acquired.Say();
    EXPECT_TRUE(its.Release());
    EXPECT_TRUE(its.Detach());
  });
  AwaitWaiting(Set(), 1);
  EXPECT_FALSE(acquired.WasSaid());
  ExpectValues(2, 0);
  EXPECT_TRUE(lock.Release());
  acquired.Hear();
  other.Join();
  ExpectValues(1, 1);
}

TEST_F(CrossProcessLockTest, ASecondProcessWaitsForTheExitOfTheHolder) {
  for (const bool isKilled : {false, true}) {
    SCOPED_TRACE(isKilled);
    const Signal acquired;
    const Signal mayExit;
    OtherProcess holder([&] {
      CrossProcessLock its;
      EXPECT_TRUE(its.Attach(path_, kProject));
      EXPECT_TRUE(its.Acquire());
      acquired.Say();
      mayExit.Hear();
      _exit(0);
    });
    acquired.Hear();
    OtherProcess waiting([&] {
      CrossProcessLock its;
      EXPECT_TRUE(its.Attach(path_, kProject));
      EXPECT_TRUE(its.Acquire());
      acquired.Say();
      EXPECT_TRUE(its.Release());
    });
    AwaitWaiting(Set(), 1);
    EXPECT_FALSE(acquired.WasSaid());
    if (isKilled) {
      holder.Kill();
    } else {
      mayExit.Say();
      holder.Join();
    }
    acquired.Hear();
    waiting.Join();
    ExpectValues(1, 1);  // the holder is still counted
    RemoveSet();
  }
}

TEST_F(CrossProcessLockTest, ASecondThreadWaits) {
  CrossProcessLock lock;
  ASSERT_TRUE(lock.Attach(path_, kProject));
  ASSERT_TRUE(lock.Acquire());
  std::thread other([&] {
    CrossProcessLock its;
    EXPECT_TRUE(its.Attach(path_, kProject));
    EXPECT_TRUE(its.Acquire());
    ExpectValues(2, 0);
    EXPECT_TRUE(its.Release());
  });
  AwaitWaiting(Set(), 1);
  EXPECT_TRUE(lock.Release());
  other.join();
  ExpectValues(1, 1);
}

TEST_F(CrossProcessLockTest, AHolderThatAcquiresAgainWaitsForItself) {
  CrossProcessLock lock;
  ASSERT_TRUE(lock.Attach(path_, kProject));
  const Signal acquiredTwice;
  OtherProcess other([&] {
    CrossProcessLock its;
    EXPECT_TRUE(its.Attach(path_, kProject));
    EXPECT_TRUE(its.Acquire());
    (void)its.Acquire();
    acquiredTwice.Say();
  });
  AwaitWaiting(Set(), 1);
  EXPECT_FALSE(acquiredTwice.WasSaid());
  other.Kill();
  EXPECT_TRUE(lock.Acquire());
  EXPECT_TRUE(lock.Release());
  EXPECT_TRUE(lock.Detach());
  ExpectValues(1, 1);
  RemoveSet();
}

int interruptedFd = -1;

TEST_F(CrossProcessLockTest, GoesOnWaitingAfterASignal) {
  CrossProcessLock lock;
  ASSERT_TRUE(lock.Attach(path_, kProject));
  ASSERT_TRUE(lock.Acquire());
  const Signal interrupted;
  const Signal acquired;
  OtherProcess other([&] {
    interruptedFd = interrupted.WriterFd();
    struct sigaction action = {};
    action.sa_handler = [](int) { (void)!write(interruptedFd, "x", 1); };
    EXPECT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);
    CrossProcessLock its;
    EXPECT_TRUE(its.Attach(path_, kProject));
    EXPECT_TRUE(its.Acquire());
    acquired.Say();
    EXPECT_TRUE(its.Release());
    EXPECT_TRUE(its.Detach());
  });
  AwaitWaiting(Set(), 1);
  EXPECT_EQ(kill(other.Id(), SIGUSR1), 0);
  interrupted.Hear();
  AwaitWaiting(Set(), 1);
  EXPECT_FALSE(acquired.WasSaid());
  EXPECT_TRUE(lock.Release());
  acquired.Hear();
  other.Join();
}

TEST_F(CrossProcessLockTest, RepeatsInterruptedCalls) {
  CrossProcessLock lock;
  {
    const ScopedSemaphoreFault interrupt(
        {.semaphore = 0, .change = 1, .error = EINTR, .failures = 2});
    EXPECT_TRUE(lock.Attach(path_, kProject));
  }
  {
    const ScopedSemaphoreFault interrupt(
        {.semaphore = 1, .change = -1, .error = EINTR, .failures = 3});
    EXPECT_TRUE(lock.Acquire());
  }
  ExpectValues(1, 0);
  EXPECT_TRUE(lock.Release());
}

TEST_F(CrossProcessLockTest, NeverHasTwoHolders) {
  constexpr int kProcesses = 4;
  constexpr int kRounds = 2000;
  CrossProcessLock lock;
  ASSERT_TRUE(lock.Attach(path_, kProject));
  void* memory = mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANON, -1, 0);
  ASSERT_NE(memory, MAP_FAILED);
  volatile int* const counter = static_cast<int*>(memory);
  {
    std::vector<std::optional<OtherProcess>> others(kProcesses);
    for (std::optional<OtherProcess>& other : others) {
      other.emplace([&] {
        CrossProcessLock its;
        EXPECT_TRUE(its.Attach(path_, kProject));
        for (int i = 0; i < kRounds; ++i) {
          EXPECT_TRUE(its.Acquire());
          const int before = *counter;
          if (i % 16 == 0) sched_yield();
          *counter = before + 1;
          EXPECT_TRUE(its.Release());
        }
      });
    }
    for (std::optional<OtherProcess>& other : others) other->Join();
  }
  EXPECT_EQ(*counter, kProcesses * kRounds);
  ExpectValues(1, 1);
  EXPECT_EQ(munmap(memory, sizeof(int)), 0);
}

// A release that fails.

TEST_F(CrossProcessLockTest, AfterAFailedReleaseItStillHolds) {
  CrossProcessLock lock;
  ASSERT_TRUE(lock.Attach(path_, kProject));
  ASSERT_TRUE(lock.Acquire());
  {
    const ScopedSemaphoreFault noMemory({.semaphore = 1, .change = 1, .error = ENOMEM});
    EXPECT_FALSE(lock.Release());
    EXPECT_TRUE(lock.Acquire());
    EXPECT_FALSE(lock.Release());
  }
  ExpectValues(1, 0);
  EXPECT_TRUE(lock.Acquire());
  ExpectValues(1, 0);
  EXPECT_TRUE(lock.Release());
  ExpectValues(1, 1);
  EXPECT_TRUE(lock.Acquire());
  ExpectValues(1, 0);
  EXPECT_TRUE(lock.Release());
}

// Between the system call of a release and its end another thread can have taken the lock and
// failed to give it back.
TEST_F(CrossProcessLockTest, AReleaseThatSucceedsDoesNotHideALaterOneThatFailed) {
  static CrossProcessLock lock;
  static int releases;
  releases = 0;
  ASSERT_TRUE(lock.Attach(path_, kProject));
  ASSERT_TRUE(lock.Acquire());
  {
    platform::ScopedSystemCalls calls;
    calls->semop = [](int set, struct sembuf* operations, std::size_t count) {
      if (operations->sem_op == -1) return ::semop(set, operations, count);
      if (++releases == 2) {
        errno = ENOMEM;
        return -1;
      }
      const int result = ::semop(set, operations, count);
      EXPECT_TRUE(lock.Acquire());
      EXPECT_FALSE(lock.Release());
      return result;
    };
    EXPECT_TRUE(lock.Release());
    EXPECT_EQ(releases, 2);
  }
  ExpectValues(1, 0);
  {
    const ScopedSemaphoreFault wouldWait({.semaphore = 1, .change = -1, .error = EAGAIN});
    EXPECT_TRUE(lock.Acquire());
  }
  EXPECT_TRUE(lock.Release());
  EXPECT_TRUE(lock.Detach());
}

// Why an operation may lift a count above the highest value that can be set, empty where it may
// not: macOS counts on.
std::string WhyNoHighestValue() {
  const int set = semget(IPC_PRIVATE, 1, 0600);
  SetValue(set, 0, kMostUsers);
  sembuf more = {};
  more.sem_op = 1;
  more.sem_flg = IPC_NOWAIT;
  const bool counts = semop(set, &more, 1) == 0;
  EXPECT_EQ(semctl(set, 0, IPC_RMID), 0);
  return counts ? "counts have no highest value here" : "";
}

TEST_F(CrossProcessLockTest, AReleaseThatWouldPassTheHighestValueFails) {
  if (const std::string why = WhyNoHighestValue(); !why.empty()) GTEST_SKIP() << why;
  CrossProcessLock lock;
  ASSERT_TRUE(lock.Attach(path_, kProject));
  ASSERT_TRUE(lock.Acquire());
  SetValue(Set(), 1, kMostUsers);
  EXPECT_FALSE(lock.Release());
  EXPECT_TRUE(lock.Acquire());
  ExpectValues(1, kMostUsers);
  SetValue(Set(), 1, 0);
  EXPECT_TRUE(lock.Release());
  ExpectValues(1, 1);
}

TEST_F(CrossProcessLockTest, DetachingGivesBackWhatAFailedReleaseLeft) {
  CrossProcessLock other;
  CrossProcessLock lock;
  ASSERT_TRUE(other.Attach(path_, kProject));
  ASSERT_TRUE(lock.Attach(path_, kProject));
  ASSERT_TRUE(lock.Acquire());
  {
    const ScopedSemaphoreFault noMemory(
        {.semaphore = 1, .change = 1, .error = ENOMEM, .failures = 1});
    EXPECT_FALSE(lock.Release());
    ExpectValues(2, 0);
    EXPECT_TRUE(lock.Detach());
  }
  ExpectValues(1, 1);
}

TEST_F(CrossProcessLockTest, DetachingKeepsALockThatNobodyTriedToGiveBack) {
  CrossProcessLock other;
  CrossProcessLock lock;
  ASSERT_TRUE(other.Attach(path_, kProject));
  ASSERT_TRUE(lock.Attach(path_, kProject));
  ASSERT_TRUE(lock.Acquire());
  EXPECT_TRUE(lock.Detach());
  ExpectValues(1, 0);
}

TEST_F(CrossProcessLockTest, DetachedItForgetsThatItStillHeld) {
  CrossProcessLock lock;
  ASSERT_TRUE(lock.Attach(path_, kProject));
  ASSERT_TRUE(lock.Acquire());
  {
    const ScopedSemaphoreFault noMemory({.semaphore = 1, .change = 1, .error = ENOMEM});
    EXPECT_FALSE(lock.Release());
    EXPECT_TRUE(lock.Detach());
  }
  EXPECT_FALSE(lock.Acquire());
  EXPECT_TRUE(lock.Attach(path_, kProject));
  EXPECT_TRUE(lock.Acquire());
  ExpectValues(1, 0);
  EXPECT_TRUE(lock.Release());
}

// Another thread takes the lock as soon as it is free and fails to give it back, all before the
// release of the first one returns.
TEST_F(CrossProcessLockTest, AReleaseForgetsNothingOfTheNextHolder) {
  static CrossProcessLock* shared;
  static int releases;
  CrossProcessLock other;
  CrossProcessLock lock;
  ASSERT_TRUE(other.Attach(path_, kProject));
  ASSERT_TRUE(lock.Attach(path_, kProject));
  shared = &lock;
  releases = 0;
  platform::ScopedSystemCalls calls;
  calls->semop = [](int set, struct sembuf* operations, std::size_t count) {
    const bool isRelease = operations->sem_num == 1 && operations->sem_op == 1;
    const int release = isRelease ? ++releases : 0;
    if (release == 2) {
      errno = ENOMEM;
      return -1;
    }
    const int result = ::semop(set, operations, count);
    if (release == 1) {
      EXPECT_TRUE(shared->Acquire());
      EXPECT_FALSE(shared->Release());
    }
    return result;
  };
  ASSERT_TRUE(lock.Acquire());
  EXPECT_TRUE(lock.Release());
  ExpectValues(2, 0);
  EXPECT_TRUE(lock.Detach());
  EXPECT_EQ(releases, 3);
  ExpectValues(1, 1);
}

TEST_F(CrossProcessLockTest, NobodyHoldsASetThatIsGone) {
  CrossProcessLock lock;
  ASSERT_TRUE(lock.Attach(path_, kProject));
  ASSERT_TRUE(lock.Acquire());
  RemoveSet();
  EXPECT_FALSE(lock.Release());
  EXPECT_FALSE(lock.Acquire());
  EXPECT_FALSE(lock.Detach());
  EXPECT_EQ(SemaphoreSetForTesting(lock), -1);
}

// Calls that fail.

TEST_F(CrossProcessLockTest, WithoutASetItIsNotAttached) {
  platform::ScopedSystemCalls calls;
  calls->semget = [](key_t, int, int) {
    errno = ENOSPC;
    return -1;
  };
  CrossProcessLock lock;
  EXPECT_FALSE(lock.Attach(path_, kProject));
  EXPECT_EQ(SemaphoreSetForTesting(lock), -1);
}

TEST_F(CrossProcessLockTest, ASetThatCannotBeFreedIsRemoved) {
  for (const int command : {SETVAL, GETPID}) {
    SCOPED_TRACE(DescribedCommand(command));
    const ScopedSemaphoreFault refusal({.command = command, .error = EPERM});
    CrossProcessLock lock;
    EXPECT_FALSE(lock.Attach(path_, kProject));
    EXPECT_EQ(SemaphoreSetForTesting(lock), -1);
    EXPECT_EQ(Set(), -1);
  }
}

TEST_F(CrossProcessLockTest, WhoCannotBeCountedIsNotAttached) {
  {
    const ScopedSemaphoreFault refusal({.semaphore = 0, .change = 1, .error = EACCES});
    CrossProcessLock lock;
    EXPECT_FALSE(lock.Attach(path_, kProject));
    EXPECT_EQ(SemaphoreSetForTesting(lock), -1);
  }
  ExpectValues(0, 1);
  CrossProcessLock lock;
  EXPECT_TRUE(lock.Attach(path_, kProject));
}

TEST_F(CrossProcessLockTest, DetachingFailsWhereItCannotCountOut) {
  CrossProcessLock lock;
  ASSERT_TRUE(lock.Attach(path_, kProject));
  SetValue(Set(), 0, 0);
  EXPECT_FALSE(lock.Detach());
  EXPECT_EQ(SemaphoreSetForTesting(lock), -1);
  ExpectValues(0, 1);
  EXPECT_TRUE(lock.Detach());
  RemoveSet();
}

TEST_F(CrossProcessLockTest, DetachingSucceedsWhereTheCountCannotBeRead) {
  CrossProcessLock lock;
  ASSERT_TRUE(lock.Attach(path_, kProject));
  {
    const ScopedSemaphoreFault refusal({.command = GETVAL, .error = EACCES});
    EXPECT_TRUE(lock.Detach());
  }
  EXPECT_EQ(SemaphoreSetForTesting(lock), -1);
  ExpectValues(0, 1);
  RemoveSet();
}

TEST_F(CrossProcessLockTest, DetachingFailsWhereTheSetCannotBeRemoved) {
  CrossProcessLock lock;
  ASSERT_TRUE(lock.Attach(path_, kProject));
  {
    const ScopedSemaphoreFault refusal({.command = IPC_RMID, .error = EPERM});
    EXPECT_FALSE(lock.Detach());
  }
  EXPECT_EQ(SemaphoreSetForTesting(lock), -1);
  ExpectValues(0, 1);
  RemoveSet();
}

// A set that vanishes.

TEST_F(CrossProcessLockTest, StartsOverWhereTheSetVanishes) {
  const ScopedSemaphoreFault removal(
      {.semaphore = 0, .change = 1, .failures = 7, .act = [this] { RemoveSet(); }});
  CrossProcessLock lock;
  EXPECT_TRUE(lock.Attach(path_, kProject));
  EXPECT_EQ(SemaphoreSetForTesting(lock), Set());
  ExpectValues(1, 1);
}

TEST_F(CrossProcessLockTest, GivesUpWhereTheSetVanishesEightTimes) {
  const ScopedSemaphoreFault removal(
      {.semaphore = 0, .change = 1, .failures = 8, .act = [this] { RemoveSet(); }});
  CrossProcessLock lock;
  EXPECT_FALSE(lock.Attach(path_, kProject));
  EXPECT_EQ(SemaphoreSetForTesting(lock), -1);
  EXPECT_EQ(ScopedSemaphoreFault::Left(), 0);
  EXPECT_TRUE(lock.Attach(path_, kProject));
}

TEST_F(CrossProcessLockTest, StartsOverWhereTheSystemSaysThatTheSetIsGone) {
  for (const int error : {EIDRM, EINVAL}) {
    SCOPED_TRACE(error);
    const ScopedSemaphoreFault gone({.semaphore = 0, .change = 1, .error = error, .failures = 7});
    CrossProcessLock lock;
    EXPECT_TRUE(lock.Attach(path_, kProject));
    ExpectValues(1, 1);
  }
}

TEST_F(CrossProcessLockTest, StartsOverWhereItsNewSetVanishes) {
  for (const int command : {GETPID, SETVAL}) {
    SCOPED_TRACE(DescribedCommand(command));
    const ScopedSemaphoreFault removal(
        {.command = command, .failures = 7, .act = [this] { RemoveSet(); }});
    CrossProcessLock lock;
    EXPECT_TRUE(lock.Attach(path_, kProject));
    ExpectValues(1, 1);
  }
}

TEST_F(CrossProcessLockTest, AcquireDoesNotAttachAgain) {
  CrossProcessLock lock;
  ASSERT_TRUE(lock.Attach(path_, kProject));
  RemoveSet();
  EXPECT_FALSE(lock.Acquire());
  EXPECT_EQ(Set(), -1);
  CrossProcessLock other;
  EXPECT_TRUE(other.Attach(path_, kProject));
  EXPECT_FALSE(lock.Acquire());
  ExpectValues(1, 1);
}

TEST_F(CrossProcessLockTest, WhoWaitsIsWokenWhereTheSetVanishes) {
  CrossProcessLock lock;
  ASSERT_TRUE(lock.Attach(path_, kProject));
  ASSERT_TRUE(lock.Acquire());
  OtherProcess other([&] {
    CrossProcessLock its;
    EXPECT_TRUE(its.Attach(path_, kProject));
    EXPECT_FALSE(its.Acquire());
  });
  AwaitWaiting(Set(), 1);
  RemoveSet();
  other.Join();
}

// Strange sets.

TEST_F(CrossProcessLockTest, ASetOfOneSemaphoreHasNoLockToTake) {
  const int set = MakeSet(1);
  CrossProcessLock lock;
  EXPECT_TRUE(lock.Attach(path_, kProject));
  EXPECT_EQ(Value(set, 0), 1);
  EXPECT_FALSE(lock.Acquire());
  EXPECT_TRUE(lock.Detach());
}

TEST_F(CrossProcessLockTest, ASetOfManySemaphoresServesAsWell) {
  const int set = MakeSet(5);
  SetValue(set, 1, 1);
  CrossProcessLock lock;
  EXPECT_TRUE(lock.Attach(path_, kProject));
  EXPECT_TRUE(lock.Acquire());
  ExpectValues(1, 0);
  EXPECT_TRUE(lock.Release());
}

TEST_F(CrossProcessLockTest, ASetWithOtherRightsIsRefused) {
  if (const std::string why = WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  const int set = MakeSet(2, 0600);
  SetValue(set, 1, 1);
  RunInChild([&] {
    ASSERT_EQ(seteuid(1000), 0);
    CrossProcessLock lock;
    EXPECT_FALSE(lock.Attach(path_, kProject));
    EXPECT_EQ(SemaphoreSetForTesting(lock), -1);
  });
  ExpectValues(0, 1);
  RemoveSet();
}

TEST_F(CrossProcessLockTest, AnotherUserSharesTheSetButCannotRemoveIt) {
  if (const std::string why = WhyNoRealRoot(); !why.empty()) GTEST_SKIP() << why;
  CrossProcessLock lock;
  ASSERT_TRUE(lock.Attach(path_, kProject));
  RunInChild([&] {
    ASSERT_EQ(seteuid(1000), 0);
    CrossProcessLock its;
    EXPECT_TRUE(its.Attach(path_, kProject));
    EXPECT_TRUE(its.Acquire());
    EXPECT_TRUE(its.Release());
    SetValue(Set(), 0, 1);
    EXPECT_FALSE(its.Detach());
  });
  ExpectValues(0, 1);
  EXPECT_FALSE(lock.Detach());
  RemoveSet();
}

TEST_F(CrossProcessLockTest, ALockOfTwoHasTwoHolders) {
  const int set = MakeSet();
  SetValue(set, 1, 2);
  CrossProcessLock lock;
  CrossProcessLock other;
  EXPECT_TRUE(lock.Attach(path_, kProject));
  EXPECT_TRUE(other.Attach(path_, kProject));
  EXPECT_TRUE(lock.Acquire());
  EXPECT_TRUE(other.Acquire());
  ExpectValues(2, 0);
  EXPECT_TRUE(other.Release());
  EXPECT_TRUE(lock.Release());
  ExpectValues(2, 2);
}

TEST_F(CrossProcessLockTest, AFullCountTakesNobodyIn) {
  if (const std::string why = WhyNoHighestValue(); !why.empty()) GTEST_SKIP() << why;
  const int set = MakeSet();
  SetValue(set, 0, kMostUsers);
  SetValue(set, 1, 1);
  CrossProcessLock lock;
  EXPECT_FALSE(lock.Attach(path_, kProject));
  EXPECT_EQ(SemaphoreSetForTesting(lock), -1);
  ExpectValues(kMostUsers, 1);
  RemoveSet();
}

TEST_F(CrossProcessLockTest, ALockOfTheHighestValueIsTakenAndGivenBack) {
  const int set = MakeSet();
  SetValue(set, 1, kMostUsers);
  CrossProcessLock lock;
  EXPECT_TRUE(lock.Attach(path_, kProject));
  EXPECT_TRUE(lock.Acquire());
  ExpectValues(1, kMostUsers - 1);
  EXPECT_TRUE(lock.Release());
  ExpectValues(1, kMostUsers);
}

TEST_F(CrossProcessLockTest, FailsWhereNoSetsAreLeft) {
  if (const std::string why = WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  RunInRoot(dir_.Path(), [] {
    while (semget(IPC_PRIVATE, 1, 0600) != -1) {
    }
    ASSERT_EQ(errno, ENOSPC);
    CrossProcessLock lock;
    EXPECT_FALSE(lock.Attach("/log", kProject));
    EXPECT_EQ(SemaphoreSetForTesting(lock), -1);
  });
}

TEST_F(CrossProcessLockTest, TheFirstSetOfAMachineOutlivesTheObject) {
  if (const std::string why = WhyNoMounts(); !why.empty()) GTEST_SKIP() << why;
  RunInRoot(dir_.Path(), [] {
    {
      CrossProcessLock lock;
      EXPECT_TRUE(lock.Attach("/log", kProject));
      ASSERT_EQ(SemaphoreSetForTesting(lock), 0);
      EXPECT_TRUE(lock.Acquire());
      EXPECT_EQ(Value(0, 1), 0);
      EXPECT_TRUE(lock.Release());
    }
    EXPECT_EQ(Value(0, 0), 1);
    EXPECT_EQ(Value(0, 1), 1);
    CrossProcessLock lock;
    EXPECT_TRUE(lock.Attach("/log", kProject));
    EXPECT_EQ(SemaphoreSetForTesting(lock), 0);
    EXPECT_TRUE(lock.Attach("/log", kProject));
    EXPECT_EQ(Value(0, 0), 2);
    EXPECT_TRUE(lock.Detach());
    EXPECT_EQ(SemaphoreSetForTesting(lock), -1);
    EXPECT_EQ(Value(0, 0), 1);
  });
}

}  // namespace

}  // namespace test
