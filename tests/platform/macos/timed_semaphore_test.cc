// The implementation of macOS, built on every system.

#include "platform/timed_semaphore.h"

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <ctime>
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <vector>

#include "platform/monotonic_time.h"
#include "platform/system_calls_for_testing.h"

namespace platform {

namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

// Time that passes only in sleep, and a semaphore that is taken.
class PollingTest : public testing::Test {
 protected:
  void SetUp() override {
    now = nanoseconds(0);
    sleeps.clear();
    tries = 0;
    freedAtTry = 0;
    calls_->clockGettime = [](clockid_t, timespec* time) {
      *time = ToTimespec(now);
      return 0;
    };
    calls_->nanosleep = [](const timespec* time, timespec*) {
      sleeps.emplace_back(std::chrono::seconds(time->tv_sec) + nanoseconds(time->tv_nsec));
      now += sleeps.back();
      return 0;
    };
    calls_->semop = [](int, struct sembuf* operations, std::size_t count) {
      EXPECT_EQ(1U, count);
      EXPECT_EQ(1, operations->sem_num);
      EXPECT_EQ(-1, operations->sem_op);
      EXPECT_EQ(IPC_NOWAIT | SEM_UNDO, operations->sem_flg);
      if (++tries == freedAtTry) return 0;
      errno = EAGAIN;
      return -1;
    };
  }

  static int Take(nanoseconds longest) {
    sembuf operation = {.sem_num = 1, .sem_op = -1, .sem_flg = SEM_UNDO};
    const timespec time = ToTimespec(longest);
    return TimedSemop(1, &operation, 1, &time) == -1 ? errno : 0;
  }

  static inline nanoseconds now;
  static inline std::vector<nanoseconds> sleeps;
  static inline int tries = 0;
  static inline int freedAtTry = 0;
  ScopedSystemCalls calls_;
};

TEST_F(PollingTest, NeitherSleepsNorWaitsForWhatIsFree) {
  freedAtTry = 1;
  EXPECT_EQ(0, Take(milliseconds(60)));
  EXPECT_TRUE(sleeps.empty());
}

TEST_F(PollingTest, TriesEveryMillisecond) {
  freedAtTry = 4;
  EXPECT_EQ(0, Take(milliseconds(60)));
  EXPECT_EQ(std::vector<nanoseconds>(3, milliseconds(1)), sleeps);
}

TEST_F(PollingTest, EndsWithTheTimeAndALastTry) {
  EXPECT_EQ(EAGAIN, Take(microseconds(2500)));
  EXPECT_EQ((std::vector<nanoseconds>{milliseconds(1), milliseconds(1), microseconds(500)}),
            sleeps);
  EXPECT_EQ(4, tries);
}

TEST_F(PollingTest, TriesOnceWithoutTime) {
  EXPECT_EQ(EAGAIN, Take(nanoseconds(0)));
  EXPECT_EQ(1, tries);
  EXPECT_TRUE(sleeps.empty());
}

TEST_F(PollingTest, GoesByTheClockWhereSleepTakesLonger) {
  calls_->nanosleep = [](const timespec*, timespec*) {
    sleeps.emplace_back();
    now += milliseconds(25);
    return 0;
  };
  EXPECT_EQ(EAGAIN, Take(milliseconds(60)));
  EXPECT_EQ(3U, sleeps.size());
}

TEST_F(PollingTest, EndsWithASignal) {
  calls_->nanosleep = [](const timespec*, timespec*) {
    errno = EINTR;
    return -1;
  };
  EXPECT_EQ(EINTR, Take(milliseconds(60)));
  EXPECT_EQ(1, tries);
}

TEST_F(PollingTest, EndsWithAnotherError) {
  calls_->semop = [](int, struct sembuf*, std::size_t) {
    errno = EIDRM;
    return -1;
  };
  EXPECT_EQ(EIDRM, Take(milliseconds(60)));
  EXPECT_TRUE(sleeps.empty());
}

}  // namespace

}  // namespace platform
