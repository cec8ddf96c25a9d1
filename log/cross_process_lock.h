#ifndef LOG_CROSS_PROCESS_LOCK_H_
#define LOG_CROSS_PROCESS_LOCK_H_

#include <atomic>
#include <chrono>
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
// again waits for itself. Several threads may acquire and release through one object, and set or
// ask how long it waits; nobody else may use it while one of them attaches or detaches.
class CrossProcessLock {
 public:
  // The longest wait of an object for which none was set.
  static constexpr std::chrono::nanoseconds kWithoutLimit = std::chrono::nanoseconds::max();

  CrossProcessLock() = default;
  // Detaches, unless the set's number is 0: that one stays attached for ever.
  ~CrossProcessLock();
  CrossProcessLock(const CrossProcessLock&) = delete;
  CrossProcessLock& operator=(const CrossProcessLock&) = delete;

  // Limits the time that this object waits from now on, in all: all its waiting in `Acquire` and
  // `Attach` is added up, that of several threads too, until `longest` (0 or more) is used up.
  // After that `Acquire` fails at once where it would have to wait, and `Attach` does not wait.
  // A thread that waits already stays for no longer than what was left when it began.
  void SetLongestWait(std::chrono::nanoseconds longest);

  // Tells how much of that time is left, or `kWithoutLimit`.
  [[nodiscard]] std::chrono::nanoseconds WaitLeft() const;

  // Finds the set of the file at `path`, which must exist, or makes it, and counts this object in.
  // Of `projectId` the low 8 bits count. True at once where the object is attached already. False,
  // and not attached, where there is no such file or the system refuses (EACCES: a set of others
  // with other rights; ENOSPC: no sets left; ERANGE: the count is full).
  //
  // A set that a creator left locked when it died is made usable again, if it is certain that
  // nobody holds it. Where that is not certain at once the call waits for the creator or holder,
  // for two seconds at most, and then takes the set as it is: held. A set that vanishes meanwhile
  // makes the attaching start over, 8 times at most.
  [[nodiscard]] bool Attach(const std::string& path, int projectId);

  // Counts this object out and removes the set where it was the last one. Never attached
  // afterwards. True also where it was not attached; false where counting or removing failed.
  // Does not give back the lock, unless a `Release` failed: that is tried once more.
  bool Detach();

  // Takes the lock; waits while somebody else has it, through signals, without limit unless
  // `SetLongestWait` set one. False where the object is not attached, the set is gone (EINVAL,
  // EIDRM) or the time for waiting is used up.
  [[nodiscard]] bool Acquire();

  // Gives back the lock that was acquired. False where the system refuses; the object then knows
  // that it still holds the lock, and the next `Acquire` succeeds at once. (Nobody holds the lock
  // of a set that is gone: there the next `Acquire` fails.)
  bool Release();

 private:
  friend int SemaphoreSetForTesting(const CrossProcessLock& lock);

  [[nodiscard]] bool AwaitLock(std::chrono::nanoseconds longest);
  void SpendWait(std::chrono::nanoseconds waited);

  int semId_ = -1;  // -1: not attached
  std::atomic<bool> stillHeld_ = false;
  std::atomic<std::chrono::nanoseconds> waitLeft_ = kWithoutLimit;
};

}  // namespace dunmar

#endif  // LOG_CROSS_PROCESS_LOCK_H_
