// Sets that look as if their creator had died before it freed the lock.

#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/types.h>
#include <utility>
#include <vector>

#include "log/cross_process_lock.h"
#include "log/cross_process_lock_for_testing.h"
#include "platform/system_calls.h"
#include "platform/system_calls_for_testing.h"
#include "tests/log/lock_on_file.h"
#include "tests/support/fake_host.h"

namespace test {

namespace {

using dunmar::CrossProcessLock;
using dunmar::SemaphoreSetForTesting;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;

using CrossProcessLockRepair = LockOnFile;

// ---- When a set is freed ----

constexpr std::int64_t kChangeTime = 1000;
constexpr std::size_t kAllPauses = 200;

// What a set answers, each number -1 where the question fails.
struct Answers {
  int value = 0;        // of the lock
  int lastProcess = 0;  // that operated on the lock
  int users = 0;
  int lastUser = 0;  // the process that counted last
  int waiting = 0;   // for the lock
};

// A set made of answers, for a scope. It takes every operation.
class AnsweringSet {
 public:
  explicit AnsweringSet(const Answers& answers) {
    told = answers;
    operations.clear();
    calls_->semget = [](key_t, int, int) { return 77; };
    calls_->semctl = [](int, int semaphore, int command, SemaphoreArgument argument) {
      if (command == IPC_STAT) argument.buf->sem_ctime = kChangeTime;
      if (command == GETVAL) return semaphore == 0 ? told.users : told.value;
      if (command == GETPID) return semaphore == 0 ? told.lastUser : told.lastProcess;
      return command == GETNCNT ? told.waiting : 0;
    };
    calls_->semop = [](int, struct sembuf* array, std::size_t count) {
      std::string text;
      for (std::size_t i = 0; i < count; ++i) {
        EXPECT_EQ(array[i].sem_flg, IPC_NOWAIT);
        text += std::to_string(array[i].sem_num) + ":" + std::to_string(array[i].sem_op) + " ";
      }
      operations.push_back(text);
      return 0;
    };
  }
  ~AnsweringSet() { told = {}; }
  AnsweringSet(const AnsweringSet&) = delete;
  AnsweringSet& operator=(const AnsweringSet&) = delete;

  static inline std::vector<std::string> operations;

 private:
  static inline Answers told;
  platform::ScopedSystemCalls calls_;
};

// One call: so many users, the lock not free; one user more, the lock free.
std::string FreesAmong(int users) {
  return "0:" + std::to_string(-users) + " 0:0 0:" + std::to_string(users + 1) + " 1:0 1:1 ";
}
const std::string kJoins = "0:1 ";

TEST_F(CrossProcessLockRepair, IsMadeWhereItIsCertainThatNobodyHoldsTheLock) {
  const struct {
    const char* what;
    Answers answers;
    std::int64_t age;
    std::size_t pauses;
    std::string operation;
  } rows[] = {
      {"new", {}, 0, kAllPauses, FreesAmong(0)},
      {"older than two seconds, maybe", {}, 3, kAllPauses, FreesAmong(0)},
      {"older than two seconds, certainly", {}, 4, 0, FreesAmong(0)},
      {"of the future", {}, -1000000, kAllPauses, FreesAmong(0)},
      {"free", {.value = 1}, 1000, 0, kJoins},
      {"of a value that is not told", {.value = -1}, 1000, 0, kJoins},
      {"operated on", {.lastProcess = 7}, 1000, 0, kJoins},
      {"operated on by nobody knows whom", {.lastProcess = -1}, 1000, 0, kJoins},
      {"with a user", {.users = 1, .lastUser = 7}, 1000, kAllPauses, kJoins},
      {"with users that are not told", {.users = -1, .lastUser = 7}, 1000, kAllPauses, kJoins},
      {"whose user waits", {.users = 1, .lastUser = 7, .waiting = 1}, 0, kAllPauses, FreesAmong(1)},
      {"whose user waits, old",
       {.users = 1, .lastUser = 7, .waiting = 1},
       1000,
       kAllPauses,
       FreesAmong(1)},
      {"whose users wait", {.users = 9, .lastUser = 7, .waiting = 9}, 4, kAllPauses, FreesAmong(9)},
      {"whose user waits twice",
       {.users = 1, .lastUser = 7, .waiting = 2},
       4,
       kAllPauses,
       FreesAmong(1)},
      {"with a user that does not wait",
       {.users = 2, .lastUser = 7, .waiting = 1},
       1000,
       kAllPauses,
       kJoins},
      {"whose users have no number here",
       {.users = 1, .lastUser = 0, .waiting = 1},
       1000,
       kAllPauses,
       kJoins},
      {"whose last user is not told",
       {.users = 1, .lastUser = -1, .waiting = 1},
       1000,
       kAllPauses,
       kJoins},
      {"with waiting that is not told",
       {.users = 1, .lastUser = 7, .waiting = -1},
       1000,
       kAllPauses,
       kJoins},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    FakeHost host;
    host.clock.now.seconds = kChangeTime + row.age;
    const FakeTime time;
    const AnsweringSet set(row.answers);
    CrossProcessLock lock;
    EXPECT_TRUE(lock.Attach(path_, kProject));
    EXPECT_EQ(SemaphoreSetForTesting(lock), 77);
    EXPECT_EQ(FakeTime::sleeps.size(), row.pauses);
    EXPECT_EQ(AnsweringSet::operations, std::vector<std::string>{row.operation});
    EXPECT_TRUE(lock.Detach());
  }
}

// ---- On sets of the system ----

TEST_F(CrossProcessLockRepair, FreesAnOldSetAtOnce) {
  const int set = MakeSet();
  FakeHost host;
  host.clock.now.seconds = Status(set).sem_ctime + 4;
  const FakeTime time;
  CrossProcessLock lock;
  EXPECT_TRUE(lock.Attach(path_, kProject));
  EXPECT_EQ(SemaphoreSetForTesting(lock), set);
  EXPECT_TRUE(FakeTime::sleeps.empty());
  ExpectValues(1, 1);
}

TEST_F(CrossProcessLockRepair, LeavesANewSetToItsCreator) {
  const int set = MakeSet();
  FakeHost host;
  host.clock.now.seconds = Status(set).sem_ctime + 1;
  const FakeTime time([&](int count) {
    // A value that nobody else would set.
    if (count == 3) SetValue(set, 1, 7);
  });
  CrossProcessLock lock;
  EXPECT_TRUE(lock.Attach(path_, kProject));
  EXPECT_EQ(FakeTime::sleeps, std::vector<nanoseconds>(3, milliseconds(10)));
  ExpectValues(1, 7);
}

TEST_F(CrossProcessLockRepair, FreesASetThatGrowsOldMeanwhile) {
  const int set = MakeSet();
  FakeHost host;
  host.clock.now.seconds = Status(set).sem_ctime;
  const FakeTime time([&](int count) {
    if (count == 5) host.clock.now.seconds += 4;
  });
  CrossProcessLock lock;
  EXPECT_TRUE(lock.Attach(path_, kProject));
  EXPECT_EQ(FakeTime::sleeps.size(), 5U);
  ExpectValues(1, 1);
}

TEST_F(CrossProcessLockRepair, FreesASetThatItHasWatchedThoughTheClockGoesBack) {
  const int set = MakeSet();
  FakeHost host;
  host.clock.now.seconds = Status(set).sem_ctime;
  const FakeTime time([&](int) { --host.clock.now.seconds; });
  CrossProcessLock lock;
  EXPECT_TRUE(lock.Attach(path_, kProject));
  EXPECT_EQ(FakeTime::sleeps.size(), kAllPauses);
  ExpectValues(1, 1);
}

TEST_F(CrossProcessLockRepair, MeasuresItsPausesByTheClock) {
  MakeSet();
  FakeHost host;
  const FakeTime time([](int) { FakeTime::now += milliseconds(990); });
  CrossProcessLock lock;
  EXPECT_TRUE(lock.Attach(path_, kProject));
  EXPECT_EQ(FakeTime::sleeps.size(), 2U);
  ExpectValues(1, 1);
}

TEST_F(CrossProcessLockRepair, TakesASetWhoseAgeIsUnknownForANewOne) {
  const int set = MakeSet();
  FakeHost host;
  host.clock.now.seconds = Status(set).sem_ctime + 1000;
  const ScopedSemaphoreFault refusal({.command = IPC_STAT, .error = EACCES});
  const FakeTime time;
  CrossProcessLock lock;
  EXPECT_TRUE(lock.Attach(path_, kProject));
  EXPECT_EQ(FakeTime::sleeps.size(), kAllPauses);
  ExpectValues(1, 1);
}

TEST_F(CrossProcessLockRepair, PausesForTwoSecondsInAll) {
  MakeSet();
  FakeHost host;
  const FakeTime time([&](int count) {
    if (count != 150) return;
    RemoveSet();
    MakeSet();
  });
  CrossProcessLock lock;
  EXPECT_TRUE(lock.Attach(path_, kProject));
  EXPECT_EQ(FakeTime::sleeps.size(), kAllPauses);
  // The second set was not watched for long enough.
  ExpectValues(1, 0);
}

TEST_F(CrossProcessLockRepair, FreesTheLockForThoseWhoWait) {
  const int set = MakeSet();
  const Signal acquired;
  OtherProcess waiting([&] {
    Add(set, 0, +1);
    sembuf take = {.sem_num = 1, .sem_op = -1, .sem_flg = SEM_UNDO};
    EXPECT_EQ(semop(set, &take, 1), 0);
    acquired.Say();
    Add(set, 0, -1);
  });
  AwaitWaiting(set, 1);
  FakeHost host;
  CrossProcessLock lock;
  {
    const FakeTime time;
    EXPECT_TRUE(lock.Attach(path_, kProject));
  }
  acquired.Hear();
  waiting.Join();
  ExpectValues(1, 1);
}

// ---- Two processes at once ----

TEST_F(CrossProcessLockRepair, MakesOneHolderWhereAnotherProcessRepairsAndAcquires) {
  const int set = MakeSet();
  FakeHost host;
  host.clock.now.seconds = Status(set).sem_ctime + 4;
  CrossProcessLock first;
  CrossProcessLock second;
  {
    const ScopedSemaphoreFault meanwhile({.semaphore = 0, .change = 0, .failures = 1, .act = [&] {
                                            EXPECT_TRUE(first.Attach(path_, kProject));
                                            EXPECT_TRUE(first.Acquire());
                                          }});
    EXPECT_TRUE(second.Attach(path_, kProject));
  }
  EXPECT_EQ(SemaphoreSetForTesting(first), SemaphoreSetForTesting(second));
  ExpectValues(2, 0);
  EXPECT_TRUE(first.Release());
  ExpectValues(2, 1);
}

TEST_F(CrossProcessLockRepair, MakesOneFreeLockWhereAnotherProcessRepairs) {
  const int set = MakeSet();
  FakeHost host;
  host.clock.now.seconds = Status(set).sem_ctime + 4;
  CrossProcessLock first;
  CrossProcessLock second;
  const ScopedSemaphoreFault meanwhile({.semaphore = 0, .change = 0, .failures = 1, .act = [&] {
                                          EXPECT_TRUE(first.Attach(path_, kProject));
                                        }});
  EXPECT_TRUE(second.Attach(path_, kProject));
  ExpectValues(2, 1);
}

TEST_F(CrossProcessLockRepair, MakesOneHolderWhereAnotherProcessRepairsForThoseWhoWait) {
  const int set = MakeSet();
  const Signal acquired;
  const Signal mayRelease;
  OtherProcess waiting([&] {
    Add(set, 0, +1);
    sembuf take = {.sem_num = 1, .sem_op = -1, .sem_flg = SEM_UNDO};
    EXPECT_EQ(semop(set, &take, 1), 0);
    acquired.Say();
    mayRelease.Hear();
    Add(set, 0, -1);
  });
  AwaitWaiting(set, 1);
  FakeHost host;
  CrossProcessLock first;
  CrossProcessLock second;
  {
    const FakeTime time;
    const ScopedSemaphoreFault meanwhile({.semaphore = 0, .change = -1, .failures = 1, .act = [&] {
                                            EXPECT_TRUE(first.Attach(path_, kProject));
                                            acquired.Hear();
                                          }});
    EXPECT_TRUE(second.Attach(path_, kProject));
    EXPECT_EQ(ScopedSemaphoreFault::Left(), 0);
  }
  ExpectValues(3, 0);
  mayRelease.Say();
  waiting.Join();
  ExpectValues(2, 1);
}

TEST_F(CrossProcessLockRepair, LeavesItToACreatorThatFreesTheLockAtTheLastMoment) {
  const int set = MakeSet();
  FakeHost host;
  host.clock.now.seconds = Status(set).sem_ctime + 4;
  const ScopedSemaphoreFault meanwhile(
      {.semaphore = 0, .change = 0, .failures = 1, .act = [&] { SetValue(set, 1, 1); }});
  CrossProcessLock lock;
  EXPECT_TRUE(lock.Attach(path_, kProject));
  EXPECT_EQ(ScopedSemaphoreFault::Left(), 0);
  ExpectValues(1, 1);
}

// What two creators do: both find no set, the first one makes it and takes the lock when the second
// is about to make it. `second_` attaches then.
class TwoCreators : public LockOnFile {
 protected:
  void AttachBoth() {
    whenAbout = [this] {
      EXPECT_TRUE(first_.Attach(path_, kProject));
      EXPECT_TRUE(first_.Acquire());
    };
    platform::ScopedSystemCalls calls;
    calls->semget = [](key_t key, int count, int flags) {
      const int set = ::semget(key, count, flags);
      if (whenAbout) std::exchange(whenAbout, nullptr)();
      return set;
    };
    EXPECT_TRUE(second_.Attach(path_, kProject));
    EXPECT_EQ(SemaphoreSetForTesting(first_), SemaphoreSetForTesting(second_));
  }

  CrossProcessLock first_;
  CrossProcessLock second_;

 private:
  static inline std::function<void()> whenAbout;
};

TEST_F(TwoCreators, MakeOneFreeLock) {
  AttachBoth();
  ExpectValues(2, 0);
  EXPECT_TRUE(first_.Release());
  ExpectValues(2, 1);
}

TEST_F(TwoCreators, MakeOneFreeLockWhereProcessesOfOthersHaveNoNumber) {
  FakeHost host;
  const FakeTime time;
  platform::ScopedSystemCalls calls;
  static const auto kSemctl = platform::Calls().semctl;
  calls->semctl = [](int set, int semaphore, int command, SemaphoreArgument argument) {
    return command == GETPID ? 0 : kSemctl(set, semaphore, command, argument);
  };
  AttachBoth();
  ExpectValues(2, 0);
  EXPECT_TRUE(first_.Release());
  ExpectValues(2, 1);
}

// ---- Sets that vanish, and failures ----

TEST_F(CrossProcessLockRepair, StartsOverWhereANewSetVanishes) {
  const int set = MakeSet();
  FakeHost host;
  host.clock.now.seconds = Status(set).sem_ctime;
  const FakeTime time([&](int count) {
    if (count == 2) RemoveSet();
  });
  CrossProcessLock lock;
  EXPECT_TRUE(lock.Attach(path_, kProject));
  EXPECT_EQ(FakeTime::sleeps.size(), 2U);
  ExpectValues(1, 1);
}

TEST_F(CrossProcessLockRepair, StartsOverWhereTheSetOfADeadCreatorVanishes) {
  const int set = MakeSet();
  FakeHost host;
  host.clock.now.seconds = Status(set).sem_ctime + 4;
  const ScopedSemaphoreFault removal(
      {.semaphore = 0, .change = 0, .failures = 1, .act = [this] { RemoveSet(); }});
  CrossProcessLock lock;
  EXPECT_TRUE(lock.Attach(path_, kProject));
  EXPECT_NE(SemaphoreSetForTesting(lock), set);
  ExpectValues(1, 1);
}

TEST_F(CrossProcessLockRepair, RemovesTheSetOfADeadCreatorThatCannotBeFreed) {
  const int set = MakeSet();
  FakeHost host;
  host.clock.now.seconds = Status(set).sem_ctime + 4;
  const ScopedSemaphoreFault refusal({.semaphore = 0, .change = 0, .error = EACCES});
  CrossProcessLock lock;
  EXPECT_FALSE(lock.Attach(path_, kProject));
  EXPECT_EQ(SemaphoreSetForTesting(lock), -1);
  EXPECT_EQ(Set(), -1);
}

TEST_F(CrossProcessLockRepair, LeavesAnOldLockToItsHolder) {
  CrossProcessLock holder;
  ASSERT_TRUE(holder.Attach(path_, kProject));
  ASSERT_TRUE(holder.Acquire());
  FakeHost host;
  host.clock.now.seconds = Status(Set()).sem_ctime + 1000;
  CrossProcessLock lock;
  EXPECT_TRUE(lock.Attach(path_, kProject));
  ExpectValues(2, 0);
}

// ---- With a limit to waiting ----

TEST_F(CrossProcessLockRepair, CountsItsPausesAsWaiting) {
  MakeSet();
  FakeHost host;
  const FakeTime time;
  CrossProcessLock lock;
  lock.SetLongestWait(seconds(5));
  EXPECT_TRUE(lock.Attach(path_, kProject));
  ExpectValues(1, 1);
  EXPECT_EQ(lock.WaitLeft(), seconds(3));
}

TEST_F(CrossProcessLockRepair, PausesNoLongerThanItMayWait) {
  MakeSet();
  FakeHost host;
  const FakeTime time;
  CrossProcessLock lock;
  lock.SetLongestWait(milliseconds(25));
  EXPECT_TRUE(lock.Attach(path_, kProject));
  EXPECT_EQ(FakeTime::sleeps,
            (std::vector<nanoseconds>{milliseconds(10), milliseconds(10), milliseconds(5)}));
  ExpectValues(1, 0);
  EXPECT_EQ(lock.WaitLeft(), nanoseconds(0));
  EXPECT_FALSE(lock.Acquire());
}

TEST_F(CrossProcessLockRepair, NeedsNoWaitingForAnOldSet) {
  const int set = MakeSet();
  FakeHost host;
  host.clock.now.seconds = Status(set).sem_ctime + 4;
  const FakeTime time;
  CrossProcessLock lock;
  lock.SetLongestWait(nanoseconds(0));
  EXPECT_TRUE(lock.Attach(path_, kProject));
  ExpectValues(1, 1);
  EXPECT_TRUE(lock.Acquire());
  EXPECT_TRUE(lock.Release());
}

}  // namespace

}  // namespace test
