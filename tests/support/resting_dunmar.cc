#include <algorithm>
#include <ctime>
#include <string>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

#include "log/log_target_registry_for_testing.h"
#include "tests/support/resting_state.h"

namespace test {

namespace {

const RestingStateCheck kRegistry([] {
  return dunmar::IsEmptyForTesting(dunmar::LogTargetRegistry::Instance())
             ? ""
             : "log target left registered";
});

// Only where the kernel lists the semaphore sets there are.
#ifdef SEM_STAT

union Argument {
  int val;
  struct semid_ds* buf;
  struct seminfo* info;
};

const std::time_t kProcessStart = std::time(nullptr);

// A set tells which process operated on it last, and when. Process numbers are used again, so one
// that was last touched before this process began is another's.
bool WasUsedHere(int set, const semid_ds& status) {
  if (std::max(status.sem_otime, status.sem_ctime) < kProcessStart) return false;
  for (int semaphore = 0; semaphore < static_cast<int>(status.sem_nsems); ++semaphore) {
    if (semctl(set, semaphore, GETPID) == getpid()) return true;
  }
  return false;
}

const RestingStateCheck kSemaphoreSets([]() -> std::string {
  struct seminfo info = {};
  const int highest = semctl(0, 0, SEM_INFO, Argument{.info = &info});
  for (int index = 0; index <= highest; ++index) {
    struct semid_ds status = {};
    const int set = semctl(index, 0, SEM_STAT, Argument{.buf = &status});
    if (set != -1 && WasUsedHere(set, status)) return "semaphore set left behind";
  }
  return "";
});

#endif

}  // namespace

}  // namespace test
