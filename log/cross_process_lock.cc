#include "log/cross_process_lock.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <ctime>
#include <string>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/types.h>
#include <utility>

#include "log/cross_process_lock_for_testing.h"
#include "platform/host.h"
#include "platform/interrupted_call.h"
#include "platform/monotonic_time.h"
#include "platform/system_calls.h"

namespace dunmar {

namespace {

using platform::SemaphoreArgument;
using std::chrono::nanoseconds;

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
constexpr std::chrono::seconds kDeadCreatorTime(2);
// What a set's time of change, in whole seconds, may be off by.
constexpr std::chrono::seconds kChangeTimeResolution(1);
constexpr nanoseconds kPause = std::chrono::milliseconds(10);

sembuf Operation(unsigned short semaphore, int change, int flags) {
  sembuf operation = {};
  operation.sem_num = semaphore;
  operation.sem_op = static_cast<short>(change);
  operation.sem_flg = static_cast<short>(flags);
  return operation;
}

// Makes all of the operations or none, in this order. Returns 0 or the error number.
template <std::size_t kCount>
int Operate(int set, std::array<sembuf, kCount> operations) {
  const int result = platform::RepeatInterrupted(
      [&] { return platform::Calls().semop(set, operations.data(), operations.size()); });
  return result == -1 ? errno : 0;
}

int Operate(int set, unsigned short semaphore, int change, int flags) {
  return Operate(set, std::array{Operation(semaphore, change, flags)});
}

int Control(int set, int semaphore, int command, SemaphoreArgument argument = {.val = 0}) {
  return platform::Calls().semctl(set, semaphore, command, argument);
}

bool IsGone(int error) { return error == EIDRM || error == EINVAL; }

int CountIn(int set) { return Operate(set, kUserCount, +1, IPC_NOWAIT); }

// Removes a set whose lock could not be freed, because it would stop everybody. Returns the error.
int RemoveUseless(int set, int error) {
  (void)Control(set, 0, IPC_RMID);
  return error;
}

// By the time of creation or change. False where that is not certain.
bool IsOld(int set) {
  struct semid_ds status = {};
  if (Control(set, 0, IPC_STAT, {.buf = &status}) == -1) return false;
  const std::chrono::seconds age(platform::CurrentHost().clock->Now().seconds - status.sem_ctime);
  return age > kDeadCreatorTime + kChangeTimeResolution;
}

// Whether the set looks as it was made: its creator has not freed the lock yet, or died before it
// could. The time of the last operation would not tell: every process that counts itself in changes
// it.
bool LooksUntouched(int set) {
  return Control(set, kWriteLock, GETVAL) == 0 && Control(set, kWriteLock, GETPID) == 0;
}

// Whether it is certain that nobody holds the lock of a set that looks untouched and has `users`
// counted in. `wasWatched`: it has looked so for as long as no creator takes.
//
// A program on a machine takes the lock and begins to rotate the log. A hook starts in a container
// that has the machine's semaphores but process numbers of its own. It sees the lock held and, as
// the holder has no number there, GETPID 0: like the set of a creator that died before it freed the
// lock. It frees the lock, and both rotate the log at once.
//
// The count tells the holder apart: who holds the lock has counted itself in, and the creator that
// died had not. So nobody holds a set without users, nor one whose users all wait for the lock. One
// doubt is left: threads that hold and wait through the same object count as one user. Therefore a
// set with users must have been watched, and who counted itself in last must have a number here.
bool NobodyHolds(int set, int users, bool wasWatched) {
  if (users == 0) return wasWatched || IsOld(set);
  return wasWatched && users > 0 && users <= Control(set, kWriteLock, GETNCNT) &&
         Control(set, kUserCount, GETPID) > 0;
}

// Frees the lock of a set and counts the caller in, if the lock is held and exactly `users` are
// counted in. Returns 0 or the error number: EAGAIN where it is otherwise.
//
// In one call, all or nothing: two processes find the same dead creator's set. One frees the lock,
// counts itself in and takes the lock. The other, a moment late, must not free it again, as SETVAL
// would: it finds one user more than it saw before, and does nothing.
int FreeAndCountIn(int set, int users) {
  return Operate(
      set,
      std::array{Operation(kUserCount, -users, IPC_NOWAIT), Operation(kUserCount, 0, IPC_NOWAIT),
                 Operation(kUserCount, users + 1, IPC_NOWAIT), Operation(kWriteLock, 0, IPC_NOWAIT),
                 Operation(kWriteLock, +1, IPC_NOWAIT)});
}

// Finishes the work of a set's creator, if that is certain to be dead, and counts the caller in.
// Returns 0 or the error number: EAGAIN where somebody may hold the lock or is about to free it.
int ReplaceDeadCreator(int set, bool wasWatched) {
  const int users = Control(set, kUserCount, GETVAL);
  if (!NobodyHolds(set, users, wasWatched)) return EAGAIN;
  const int error = FreeAndCountIn(set, users);
  return error == 0 || error == EAGAIN ? error : RemoveUseless(set, error);
}

// Counts the caller in when the set's creator has freed the lock. In the place of a creator that is
// certain to be dead the lock is freed first. When `patience` is over the set is taken as it is;
// the time that was spent is taken from `patience`. Returns 0 or the error number.
int CountInBehindCreator(int set, nanoseconds* patience) {
  const nanoseconds start = platform::MonotonicTime();
  nanoseconds watched(0);
  int error = EAGAIN;
  while (LooksUntouched(set)) {
    error = ReplaceDeadCreator(set, watched >= kDeadCreatorTime);
    if (error != EAGAIN || watched >= *patience) break;
    const timespec pause = platform::ToTimespec(std::min(kPause, *patience - watched));
    (void)platform::Calls().nanosleep(&pause, nullptr);
    watched = platform::MonotonicTime() - start;
  }
  *patience -= watched;
  return error == EAGAIN ? CountIn(set) : error;
}

// Frees the lock of a new set, and counts the caller in. Returns 0 or the error number.
//
// Another process may have taken itself for the creator too, and hold the lock by now. Then it has
// operated on the lock or, where it has no number here, is counted in.
int Initialise(int set, nanoseconds* patience) {
  const int lastProcess = Control(set, kWriteLock, GETPID);
  if (lastProcess > 0) return CountIn(set);
  if (lastProcess == -1) return RemoveUseless(set, errno);
  if (Control(set, kUserCount, GETVAL) > 0) return CountInBehindCreator(set, patience);
  const bool isFreed = Control(set, kWriteLock, SETVAL, {.val = 1}) != -1;
  return isFreed ? CountIn(set) : RemoveUseless(set, errno);
}

// Returns 0 or the error number.
int JoinSet(key_t key, int* set, nanoseconds* patience) {
  *set = platform::Calls().semget(key, 0, 0);
  if (*set != -1) return CountInBehindCreator(*set, patience);
  *set = platform::Calls().semget(key, kSemaphores, IPC_CREAT | kEverybody);
  return *set != -1 ? Initialise(*set, patience) : errno;
}

}  // namespace

CrossProcessLock::~CrossProcessLock() {
  if (semId_ != 0) (void)Detach();
}

void CrossProcessLock::SetLongestWait(nanoseconds longest) { waitLeft_ = longest; }

nanoseconds CrossProcessLock::WaitLeft() const { return waitLeft_; }

void CrossProcessLock::SpendWait(nanoseconds waited) {
  nanoseconds left = waitLeft_;
  while (left != kWithoutLimit &&
         !waitLeft_.compare_exchange_weak(left, std::max(left - waited, nanoseconds(0)))) {
  }
}

bool CrossProcessLock::Attach(const std::string& path, int projectId) {
  if (semId_ != kNotAttached) return true;
  const key_t key = ::ftok(path.c_str(), projectId);
  if (key == -1) return false;
  const nanoseconds longest = std::min<nanoseconds>(kDeadCreatorTime, WaitLeft());
  nanoseconds patience = longest;
  int set = -1;
  int error = EIDRM;
  for (int i = 0; i < kMaxAttempts && IsGone(error); ++i) error = JoinSet(key, &set, &patience);
  SpendWait(longest - patience);
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
  if (WaitLeft() == kWithoutLimit) return Operate(semId_, kWriteLock, -1, SEM_UNDO) == 0;
  const int error = Operate(semId_, kWriteLock, -1, SEM_UNDO | IPC_NOWAIT);
  return error == 0 || (error == EAGAIN && AwaitLock(WaitLeft()));
}

bool CrossProcessLock::AwaitLock(nanoseconds longest) {
  const nanoseconds start = platform::MonotonicTime();
  nanoseconds waited(0);
  int error = EINTR;
  while (error == EINTR && waited < longest) {
    sembuf operation = Operation(kWriteLock, -1, SEM_UNDO);
    const timespec rest = platform::ToTimespec(longest - waited);
    error = platform::Calls().semtimedop(semId_, &operation, 1, &rest) == -1 ? errno : 0;
    waited = platform::MonotonicTime() - start;
  }
  SpendWait(waited);
  return error == 0;
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
