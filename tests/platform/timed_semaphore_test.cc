// Built with the implementation of the system at hand and, everywhere, with that of macOS.

#include "platform/timed_semaphore.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <ctime>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <thread>
#include <unistd.h>

#include "platform/monotonic_time.h"
#include "platform/system_calls.h"

namespace platform {

namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;

constexpr seconds kLong(20);

class TimedSemopTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(-1, set_); }
  ~TimedSemopTest() override { Calls().semctl(set_, 0, IPC_RMID, {}); }

  // Takes one of the semaphore, the error number or 0.
  [[nodiscard]] int Take(nanoseconds longest) const {
    sembuf operation = {.sem_num = 1, .sem_op = -1, .sem_flg = 0};
    const timespec time = ToTimespec(longest);
    return TimedSemop(set_, &operation, 1, &time) == -1 ? errno : 0;
  }
  void Put(int value) const { ASSERT_NE(-1, Calls().semctl(set_, 1, SETVAL, {.val = value})); }
  [[nodiscard]] int Value() const { return Calls().semctl(set_, 1, GETVAL, {}); }

  const int set_ = semget(IPC_PRIVATE, 2, IPC_CREAT | 0600);
};

TEST_F(TimedSemopTest, TakesWhatIsThereWithoutWaiting) {
  Put(2);
  EXPECT_EQ(0, Take(nanoseconds(0)));
  EXPECT_EQ(1, Value());
}

TEST_F(TimedSemopTest, WaitsForAsLongAsItIsTold) {
  const nanoseconds start = MonotonicTime();
  EXPECT_EQ(EAGAIN, Take(milliseconds(30)));
  EXPECT_LE(milliseconds(30), MonotonicTime() - start);
  EXPECT_GT(kLong, MonotonicTime() - start);
}

TEST_F(TimedSemopTest, EndsWithWhatItWaitsFor) {
  std::thread other([this] {
    std::this_thread::sleep_for(milliseconds(20));
    Put(1);
  });
  const nanoseconds start = MonotonicTime();
  EXPECT_EQ(0, Take(kLong));
  EXPECT_GT(kLong, MonotonicTime() - start);
  EXPECT_EQ(0, Value());
  other.join();
}

TEST_F(TimedSemopTest, EndsWhereTheSetVanishes) {
  std::thread other([this] {
    std::this_thread::sleep_for(milliseconds(20));
    EXPECT_EQ(0, Calls().semctl(set_, 0, IPC_RMID, {}));
  });
  const int error = Take(kLong);
  EXPECT_TRUE(error == EIDRM || error == EINVAL) << error;
  other.join();
}

TEST_F(TimedSemopTest, EndsWithASignal) {
  struct sigaction wake = {};
  struct sigaction before = {};
  wake.sa_handler = [](int) {};
  ASSERT_EQ(0, sigaction(SIGUSR1, &wake, &before));
  const pthread_t waiting = pthread_self();
  std::atomic<bool> over = false;
  // Again and again: the first may come before the waiting begins.
  std::thread other([&] {
    while (!over) {
      EXPECT_EQ(0, pthread_kill(waiting, SIGUSR1));
      std::this_thread::sleep_for(milliseconds(10));
    }
  });
  EXPECT_EQ(EINTR, Take(kLong));
  over = true;
  other.join();
  EXPECT_EQ(0, sigaction(SIGUSR1, &before, nullptr));
}

TEST_F(TimedSemopTest, MakesAllOperationsOrNone) {
  sembuf operations[] = {{.sem_num = 0, .sem_op = 1, .sem_flg = 0},
                         {.sem_num = 1, .sem_op = -1, .sem_flg = 0}};
  const timespec time = ToTimespec(milliseconds(5));
  EXPECT_EQ(-1, TimedSemop(set_, operations, 2, &time));
  EXPECT_EQ(EAGAIN, errno);
  EXPECT_EQ(0, Calls().semctl(set_, 0, GETVAL, {}));
  Put(1);
  EXPECT_EQ(0, TimedSemop(set_, operations, 2, &time));
  EXPECT_EQ(1, Calls().semctl(set_, 0, GETVAL, {}));
  EXPECT_EQ(0, Value());
}

TEST_F(TimedSemopTest, LeavesTheOperationsAsTheyWere) {
  sembuf operation = {.sem_num = 1, .sem_op = -1, .sem_flg = SEM_UNDO};
  const timespec time = {};
  EXPECT_EQ(-1, TimedSemop(set_, &operation, 1, &time));
  EXPECT_EQ(SEM_UNDO, operation.sem_flg);
}

TEST_F(TimedSemopTest, RefusesMoreThanASystemTakes) {
  sembuf operations[1000] = {};
  const timespec time = {};
  EXPECT_EQ(-1, TimedSemop(set_, operations, 1000, &time));
  EXPECT_EQ(E2BIG, errno);
}

TEST_F(TimedSemopTest, RefusesASetThatIsNone) {
  sembuf operation = {.sem_num = 1, .sem_op = -1, .sem_flg = 0};
  const timespec time = ToTimespec(kLong);
  EXPECT_EQ(-1, TimedSemop(-1, &operation, 1, &time));
  EXPECT_EQ(EINVAL, errno);
}

}  // namespace

}  // namespace platform
