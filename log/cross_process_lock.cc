#include "log/cross_process_lock.h"

#include <cerrno>
#include <cstdint>
#include <ctime>
#include <string>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/types.h>
#include <utility>

#include "log/cross_process_lock_for_testing.h"
#include "platform/host.h"
#include "platform/interrupted_call.h"
#include "platform/system_calls.h"

namespace dunmar {

namespace {

using platform::SemaphoreArgument;

constexpr int kNotAttached = -1;
// The semaphores of a set.
constexpr unsigned short kUserCount = 0;
constexpr unsigned short kWriteLock = 1;
constexpr int kSemaphores = 2;
constexpr int kEverybody = 0666;
// Every attempt can fall to another process that removes the set, as its last user. They end
// because somebody hostile could go on for ever.
constexpr int kMaxAttempts = 8;
// No living creator takes that long between two calls.
constexpr std::int64_t kDeadCreatorSeconds = 2;
// As much again in pauses, for a clock that stands still or goes back.
constexpr long kPauseNanoseconds = 10'000'000;
constexpr int kMaxPauses = 200;

// Returns 0 or the error number.
int Operate(int set, unsigned short semaphore, short change, short flags) {
  sembuf operation = {};
  operation.sem_num = semaphore;
  operation.sem_op = change;
  operation.sem_flg = flags;
  const int result =
      platform::RepeatInterrupted([&] { return platform::Calls().semop(set, &operation, 1); });
  return result == -1 ? errno : 0;
}

int Control(int set, int semaphore, int command, SemaphoreArgument argument = {.val = 0}) {
  return platform::Calls().semctl(set, semaphore, command, argument);
}

bool IsGone(int error) { return error == EIDRM || error == EINVAL; }

bool IsOld(int set) {
  struct semid_ds status = {};
  if (Control(set, 0, IPC_STAT, {.buf = &status}) == -1) return false;
  return status.sem_ctime <= platform::CurrentHost().clock->Now().seconds - kDeadCreatorSeconds;
}

// Whether the set is as it was made: its creator has not freed the lock yet, or died before it
// could. The time of the last operation would not tell: every process that counts itself in changes
// it.
bool IsUntouched(int set) {
  return Control(set, kWriteLock, GETVAL) == 0 && Control(set, kWriteLock, GETPID) == 0;
}

// Frees the lock of a new set, unless somebody has operated on it: another process may have taken
// itself for the creator too, and hold the lock by now. Returns 0 or the error number; the set is
// removed then, because a lock that is never freed would stop everybody.
int Initialise(int set) {
  const int lastProcess = Control(set, kWriteLock, GETPID);
  if (lastProcess > 0) return 0;
  if (lastProcess == 0 && Control(set, kWriteLock, SETVAL, {.val = 1}) != -1) return 0;
  const int error = errno;
  (void)Control(set, 0, IPC_RMID);
  return error;
}

// Leaves a new set to its creator, and finishes the work of one that died: at once where the set is
// old, else after the time that no creator takes. Whoever did not wait here would wait for the
// lock, and for ever. Returns 0 or the error number.
int AwaitCreator(int set) {
  constexpr timespec kPause = {.tv_sec = 0, .tv_nsec = kPauseNanoseconds};
  for (int i = 0; IsUntouched(set); ++i) {
    if (i == kMaxPauses || IsOld(set)) return Initialise(set);
    (void)platform::Calls().nanosleep(&kPause, nullptr);
  }
  return 0;
}

// Returns 0 or the error number.
int FindOrMakeSet(key_t key, int* set) {
  *set = platform::Calls().semget(key, 0, 0);
  if (*set != -1) return AwaitCreator(*set);
  *set = platform::Calls().semget(key, kSemaphores, IPC_CREAT | kEverybody);
  return *set != -1 ? Initialise(*set) : errno;
}

}  // namespace

CrossProcessLock::~CrossProcessLock() {
  if (semId_ != 0) (void)Detach();
}

bool CrossProcessLock::Attach(const std::string& path, int projectId) {
  if (semId_ != kNotAttached) return true;
  const key_t key = ::ftok(path.c_str(), projectId);
  if (key == -1) return false;
  int set = -1;
  int error = EIDRM;
  for (int i = 0; i < kMaxAttempts && IsGone(error); ++i) {
    error = FindOrMakeSet(key, &set);
    if (error == 0) error = Operate(set, kUserCount, +1, IPC_NOWAIT);
  }
  if (error == 0) semId_ = set;
  return error == 0;
}

bool CrossProcessLock::Detach() {
  if (semId_ == kNotAttached) return true;
  // Whoever failed to give the lock back will not ask again, and the others wait.
  if (stillHeld_) (void)Release();
  stillHeld_ = false;
  const int set = std::exchange(semId_, kNotAttached);
  if (Operate(set, kUserCount, -1, IPC_NOWAIT) != 0) return false;
  return Control(set, kUserCount, GETVAL) != 0 || Control(set, 0, IPC_RMID) == 0;
}

bool CrossProcessLock::Acquire() {
  if (stillHeld_.exchange(false)) return true;
  return Operate(semId_, kWriteLock, -1, SEM_UNDO) == 0;
}

bool CrossProcessLock::Release() {
  // Before the call: after it another thread may hold the lock, and fail to give it back.
  stillHeld_ = false;
  const int error = Operate(semId_, kWriteLock, +1, SEM_UNDO);
  // Nobody holds the lock of a set that is gone.
  if (error != 0 && !IsGone(error)) stillHeld_ = true;
  return error == 0;
}

int SemaphoreSetForTesting(const CrossProcessLock& lock) { return lock.semId_; }

}  // namespace dunmar
