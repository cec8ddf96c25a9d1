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

// A set tells who operated on it last; those of other programs are none of ours.
bool WasUsedHere(int set, unsigned long count) {
  for (int semaphore = 0; semaphore < static_cast<int>(count); ++semaphore) {
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
    if (set != -1 && WasUsedHere(set, status.sem_nsems)) return "semaphore set left behind";
  }
  return "";
});

#endif

}  // namespace

}  // namespace test
