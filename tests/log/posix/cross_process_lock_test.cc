#include "log/cross_process_lock.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <sched.h>
#include <string>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <thread>
#include <unistd.h>

#include "tests/log/lock_on_file.h"
#include "tests/support/fake_host.h"
#include "tests/support/run_apart.h"
#include "tests/support/run_in_root.h"

namespace test {

namespace {

using dunmar::CrossProcessLock;
using std::chrono::milliseconds;
using std::chrono::seconds;

// ---- Processes that number themselves ----

// Gives the children that the calling process gets from now on numbers of their own, as a container
// does; the machine's semaphores stay theirs. False, with `errno`, where that is refused.
bool LeaveProcessNumbers() {
  const int own = geteuid() == 0 ? 0 : CLONE_NEWUSER;
  return unshare(CLONE_NEWPID | own) == 0;
}

std::string WhyNoProcessNumbers() {
  static const bool isPossible = [] {
    const ApartResult result = RunApart([] { EXPECT_TRUE(LeaveProcessNumbers()); });
    return !result.failed;
  }();
  return isPossible ? "" : "no process namespaces here";
}

// An old set on a file, and what processes with numbers of their own make of it.
class CrossProcessLockInContainer : public LockOnFile {
 protected:
  void SetUp() override {
    if (const std::string why = WhyNoProcessNumbers(); !why.empty()) GTEST_SKIP() << why;
    LockOnFile::SetUp();
  }

  // Calls `body` in such a process, for which the set is old and pauses take no time.
  void RunInside(const std::function<void()>& body) const {
    RunInChild([&] {
      ASSERT_TRUE(LeaveProcessNumbers()) << std::strerror(errno);
      RunInChild([&] {
        FakeHost host;
        host.clock.now.seconds = Status(Set()).sem_ctime + 1000;
        const FakeTime time;
        body();
      });
    });
  }

  void ExpectToAttachAndLeaveHeld() const {
    const int users = Value(Set(), 0);
    RunInside([&] {
      // What deceives.
      ASSERT_EQ(Value(Set(), 1), 0);
      ASSERT_EQ(Control(Set(), 1, GETPID), 0);
      CrossProcessLock lock;
      EXPECT_TRUE(lock.Attach(path_, kProject));
      ExpectValues(users + 1, 0);
      EXPECT_TRUE(lock.Detach());
    });
    ExpectValues(users, 0);
  }
};

TEST_F(CrossProcessLockInContainer, IsLeftToAHolderOutside) {
  CrossProcessLock holder;
  ASSERT_TRUE(holder.Attach(path_, kProject));
  ASSERT_TRUE(holder.Acquire());
  ExpectToAttachAndLeaveHeld();
  EXPECT_TRUE(holder.Release());
}

TEST_F(CrossProcessLockInContainer, IsLeftToAHolderOutsideForWhomOthersWait) {
  CrossProcessLock holder;
  ASSERT_TRUE(holder.Attach(path_, kProject));
  ASSERT_TRUE(holder.Acquire());
  OtherProcess waiting([&] {
    CrossProcessLock its;
    EXPECT_TRUE(its.Attach(path_, kProject));
    EXPECT_TRUE(its.Acquire());
    EXPECT_TRUE(its.Release());
  });
  AwaitWaiting(Set(), 1);
  ExpectToAttachAndLeaveHeld();
  EXPECT_TRUE(holder.Release());
  waiting.Join();
}

// Both threads are one user.
TEST_F(CrossProcessLockInContainer, IsLeftToAThreadOutsideForWhichAnotherOneWaits) {
  CrossProcessLock holder;
  ASSERT_TRUE(holder.Attach(path_, kProject));
  ASSERT_TRUE(holder.Acquire());
  std::thread waiting([&] {
    EXPECT_TRUE(holder.Acquire());
    EXPECT_TRUE(holder.Release());
  });
  AwaitWaiting(Set(), 1);
  ExpectToAttachAndLeaveHeld();
  EXPECT_TRUE(holder.Release());
  waiting.join();
}

TEST_F(CrossProcessLockInContainer, IsFreedForADeadCreatorOutside) {
  MakeSet();
  RunInside([&] {
    CrossProcessLock lock;
    EXPECT_TRUE(lock.Attach(path_, kProject));
    ExpectValues(1, 1);
  });
}

TEST_F(CrossProcessLockInContainer, IsFreedForThoseWhoWaitInside) {
  const int set = MakeSet();
  RunInside([&] {
    OtherProcess waiting([&] {
      Add(set, 0, +1);
      sembuf take = {.sem_num = 1, .sem_op = -1, .sem_flg = SEM_UNDO};
      EXPECT_EQ(semop(set, &take, 1), 0);
      Add(set, 0, -1);
    });
    AwaitWaiting(set, 1);
    CrossProcessLock lock;
    EXPECT_TRUE(lock.Attach(path_, kProject));
    waiting.Join();
    ExpectValues(1, 1);
  });
}

// ---- Waiting with a limit: that somebody waits shows in the kernel ----

using CrossProcessLockLimit = LockOnFile;

int interruptedFd = -1;

TEST_F(CrossProcessLockLimit, HoldsThroughSignals) {
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
    its.SetLongestWait(kPatience);
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

TEST_F(CrossProcessLockLimit, CountsEveryThread) {
  constexpr milliseconds kHold(20);
  CrossProcessLock holder;
  CrossProcessLock lock;
  ASSERT_TRUE(holder.Attach(path_, kProject));
  ASSERT_TRUE(lock.Attach(path_, kProject));
  ASSERT_TRUE(holder.Acquire());
  lock.SetLongestWait(kPatience);
  const auto takeAndGiveBack = [&] {
    EXPECT_TRUE(lock.Acquire());
    EXPECT_TRUE(lock.Release());
  };
  std::thread first(takeAndGiveBack);
  std::thread second(takeAndGiveBack);
  AwaitWaiting(Set(), 2);
  std::this_thread::sleep_for(kHold);
  EXPECT_TRUE(holder.Release());
  first.join();
  second.join();
  EXPECT_LE(lock.WaitLeft(), kPatience - 2 * kHold);
}

}  // namespace

}  // namespace test
