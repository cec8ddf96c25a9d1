#ifndef LOG_CROSS_PROCESS_LOCK_H_
#define LOG_CROSS_PROCESS_LOCK_H_

#include <atomic>
#include <string>

namespace dunmar {

// A lock that all processes share which write the same file: a System V semaphore set whose key
// comes from the file (ftok(3)), open to every user (0666). Semaphore 0 counts the objects that are
// attached, in all processes; semaphore 1 is the lock, 1 when free and 0 when held.
//
// Process-wide and beyond: the set lives in the kernel until the last object detaches. The kernel
// gives back the lock of a process that dies (SEM_UNDO), but not its place in the count.
//
// The lock serialises threads as well as processes and is not re-entrant: a holder that acquires
// again waits for itself. Several threads may acquire and release through one object; nobody else
// may use it while one of them attaches or detaches.
class CrossProcessLock {
 public:
  CrossProcessLock() = default;
  // Detaches, unless the set's number is 0: that one stays attached for ever.
  ~CrossProcessLock();
  CrossProcessLock(const CrossProcessLock&) = delete;
  CrossProcessLock& operator=(const CrossProcessLock&) = delete;

  // Finds the set of the file at `path`, which must exist, or makes it, and counts this object in.
  // Of `projectId` the low 8 bits count. True at once where the object is attached already. False,
  // and not attached, where there is no such file or the system refuses (EACCES: a set of others
  // with other rights; ENOSPC: no sets left; ERANGE: the count is full).
  //
  // A set that a creator left locked when it died is made usable again; where it is new, that takes
  // up to two seconds, in which its creator may still be at work. A set that vanishes meanwhile
  // makes the attaching start over, 8 times at most.
  [[nodiscard]] bool Attach(const std::string& path, int projectId);

  // Counts this object out and removes the set where it was the last one. Never attached
  // afterwards. True also where it was not attached; false where counting or removing failed.
  // Does not give back the lock, unless a `Release` failed: that is tried once more.
  bool Detach();

  // Takes the lock; waits while somebody else has it, through signals. False where the object is
  // not attached or the set is gone (EINVAL, EIDRM).
  [[nodiscard]] bool Acquire();

  // Gives back the lock that was acquired. False where the system refuses; the object then knows
  // that it still holds the lock, and the next `Acquire` succeeds at once. (Nobody holds the lock
  // of a set that is gone: there the next `Acquire` fails.)
  bool Release();

 private:
  friend int SemaphoreSetForTesting(const CrossProcessLock& lock);

  int semId_ = -1;  // -1: not attached
  std::atomic<bool> stillHeld_ = false;
};

}  // namespace dunmar

#endif  // LOG_CROSS_PROCESS_LOCK_H_
