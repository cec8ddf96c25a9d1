// The longest time that a lock object waits in all.

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <ctime>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <vector>

#include "log/cross_process_lock.h"
#include "log/cross_process_lock_for_testing.h"
#include "platform/system_calls_for_testing.h"
#include "tests/log/lock_on_file.h"

namespace test {

namespace {

using dunmar::CrossProcessLock;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;
using Times = std::vector<nanoseconds>;

// A lock that this process has, and a second object that wants it, while time passes only in
// `semtimedop`: so much of what it is allowed as the test says, and with the error that it says.
class CrossProcessLockWait : public LockOnFile {
 protected:
  void SetUp() override {
    LockOnFile::SetUp();
    ASSERT_TRUE(holder_.Attach(path_, kProject));
    ASSERT_TRUE(lock_.Attach(path_, kProject));
    ASSERT_TRUE(holder_.Acquire());
    waits.clear();
    time_.calls->semtimedop = [](int, struct sembuf* operation, std::size_t count,
                                 const struct timespec* longest) {
      EXPECT_EQ(count, 1U);
      EXPECT_EQ(operation->sem_num, 1);
      EXPECT_EQ(operation->sem_op, -1);
      EXPECT_EQ(operation->sem_flg, SEM_UNDO);
      const nanoseconds allowed = seconds(longest->tv_sec) + nanoseconds(longest->tv_nsec);
      waits.push_back(allowed);
      FakeTime::now += lasts == nanoseconds(0) ? allowed : lasts;
      errno = error;
      return error == 0 ? 0 : -1;
    };
    error = EAGAIN;
    lasts = nanoseconds(0);
  }

  FakeTime time_;
  CrossProcessLock holder_;
  CrossProcessLock lock_;
  static inline Times waits;         // what was allowed
  static inline int error = EAGAIN;  // 0: the lock was had
  static inline nanoseconds lasts;   // 0: as long as is allowed
};

TEST_F(CrossProcessLockWait, HasNoLimitAtFirst) {
  EXPECT_EQ(lock_.WaitLeft(), CrossProcessLock::kWithoutLimit);
}

TEST_F(CrossProcessLockWait, EndsAtItsLimit) {
  lock_.SetLongestWait(seconds(5));
  EXPECT_FALSE(lock_.Acquire());
  EXPECT_EQ(waits, Times{seconds(5)});
  EXPECT_EQ(lock_.WaitLeft(), nanoseconds(0));
  ExpectValues(2, 0);
}

TEST_F(CrossProcessLockWait, IsOverForGoodWhenTheLimitIsUsedUp) {
  lock_.SetLongestWait(seconds(5));
  EXPECT_FALSE(lock_.Acquire());
  EXPECT_FALSE(lock_.Acquire());
  EXPECT_FALSE(lock_.Acquire());
  EXPECT_EQ(waits, Times{seconds(5)});
}

TEST_F(CrossProcessLockWait, IsNotNeededForAFreeLock) {
  lock_.SetLongestWait(seconds(5));
  EXPECT_FALSE(lock_.Acquire());
  ASSERT_TRUE(holder_.Release());
  EXPECT_TRUE(lock_.Acquire());
  ExpectValues(2, 0);
  EXPECT_TRUE(lock_.Release());
  ExpectValues(2, 1);
}

TEST_F(CrossProcessLockWait, IsAddedUp) {
  lock_.SetLongestWait(seconds(5));
  error = 0;
  lasts = milliseconds(1500);
  EXPECT_TRUE(lock_.Acquire());
  EXPECT_TRUE(lock_.Acquire());
  EXPECT_EQ(lock_.WaitLeft(), seconds(2));
  error = EAGAIN;
  lasts = nanoseconds(0);
  EXPECT_FALSE(lock_.Acquire());
  EXPECT_EQ(waits, (Times{seconds(5), milliseconds(3500), seconds(2)}));
}

TEST_F(CrossProcessLockWait, IsNotProlongedBySignals) {
  lock_.SetLongestWait(seconds(5));
  error = EINTR;
  lasts = seconds(2);
  EXPECT_FALSE(lock_.Acquire());
  EXPECT_EQ(waits, (Times{seconds(5), seconds(3), seconds(1)}));
  EXPECT_EQ(lock_.WaitLeft(), nanoseconds(0));
}

TEST_F(CrossProcessLockWait, EndsWhereTheSetVanishes) {
  lock_.SetLongestWait(seconds(5));
  error = EIDRM;
  lasts = seconds(1);
  EXPECT_FALSE(lock_.Acquire());
  EXPECT_EQ(waits, Times{seconds(5)});
}

TEST_F(CrossProcessLockWait, StaysLimitedThroughDetachingAndAttaching) {
  lock_.SetLongestWait(seconds(5));
  error = 0;
  lasts = seconds(2);
  EXPECT_TRUE(lock_.Acquire());
  EXPECT_TRUE(lock_.Detach());
  ASSERT_TRUE(lock_.Attach(path_, kProject));
  EXPECT_EQ(lock_.WaitLeft(), seconds(3));
}

TEST_F(CrossProcessLockWait, CanBeSetAnew) {
  lock_.SetLongestWait(seconds(5));
  EXPECT_FALSE(lock_.Acquire());
  lock_.SetLongestWait(seconds(1));
  EXPECT_FALSE(lock_.Acquire());
  EXPECT_EQ(waits, (Times{seconds(5), seconds(1)}));
}

TEST_F(CrossProcessLockWait, OfNothingFailsAtOnce) {
  lock_.SetLongestWait(nanoseconds(0));
  EXPECT_FALSE(lock_.Acquire());
  EXPECT_EQ(waits, Times());
}

int semops = 0;

// With a limit as without: no clock is asked either.
TEST_F(CrossProcessLockWait, TakesAFreeLockByOneCall) {
  ASSERT_TRUE(holder_.Release());
  lock_.SetLongestWait(seconds(5));
  semops = 0;
  {
    platform::ScopedSystemCalls calls;
    calls->semop = [](int set, struct sembuf* operations, std::size_t count) {
      ++semops;
      EXPECT_EQ(operations->sem_flg, IPC_NOWAIT | SEM_UNDO);
      return ::semop(set, operations, count);
    };
    calls->clockGettime = [](clockid_t, struct timespec*) {
      ADD_FAILURE() << "asks the clock";
      return -1;
    };
    EXPECT_TRUE(lock_.Acquire());
  }
  EXPECT_EQ(semops, 1);
  EXPECT_EQ(waits, Times());
  EXPECT_TRUE(lock_.Release());
}

// By the system's own calls and clock.
class CrossProcessLockRealWait : public LockOnFile {
 protected:
  void SetUp() override {
    LockOnFile::SetUp();
    ASSERT_TRUE(holder_.Attach(path_, kProject));
    ASSERT_TRUE(lock_.Attach(path_, kProject));
    ASSERT_TRUE(holder_.Acquire());
  }
  CrossProcessLock holder_;
  CrossProcessLock lock_;
};

TEST_F(CrossProcessLockRealWait, LastsAsLongAsItsLimit) {
  lock_.SetLongestWait(milliseconds(50));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(lock_.Acquire());
  const auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_GE(waited, milliseconds(50));
  EXPECT_LT(waited, kPatience);
  EXPECT_FALSE(lock_.Acquire());
}

TEST_F(CrossProcessLockRealWait, EndsWithTheRelease) {
  const Signal mayRelease;
  const Signal acquired;
  ASSERT_TRUE(holder_.Release());
  OtherProcess other([&] {
    CrossProcessLock its;
    EXPECT_TRUE(its.Attach(path_, kProject));
    EXPECT_TRUE(its.Acquire());
    acquired.Say();
    mayRelease.Hear();
    EXPECT_TRUE(its.Release());
    EXPECT_TRUE(its.Detach());
  });
  acquired.Hear();
  lock_.SetLongestWait(kPatience);
  mayRelease.Say();
  EXPECT_TRUE(lock_.Acquire());
  ExpectValues(Value(Set(), 0), 0);
  EXPECT_TRUE(lock_.Release());
  other.Join();
}

TEST_F(CrossProcessLockRealWait, EndsWithTheDeathOfTheHolder) {
  const Signal acquired;
  ASSERT_TRUE(holder_.Release());
  OtherProcess other([&] {
    CrossProcessLock its;
    EXPECT_TRUE(its.Attach(path_, kProject));
    its.SetLongestWait(seconds(1));
    EXPECT_TRUE(its.Acquire());
    acquired.Say();
    _exit(0);
  });
  acquired.Hear();
  lock_.SetLongestWait(kPatience);
  EXPECT_TRUE(lock_.Acquire());
  EXPECT_TRUE(lock_.Release());
  other.Join();
  Add(Set(), 0, -1);
}

}  // namespace

}  // namespace test
