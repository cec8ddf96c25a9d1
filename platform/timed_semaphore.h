#ifndef PLATFORM_TIMED_SEMAPHORE_H_
#define PLATFORM_TIMED_SEMAPHORE_H_

#include <cstddef>
#include <ctime>
#include <sys/sem.h>

namespace platform {

// Makes semaphore operations as `semop` does, but waits no longer than `longest` where it has to
// wait. Returns 0, or -1 with `errno` set and nothing done: EAGAIN when the time is over, EINTR
// when a signal came first, else the errors of semop(2). Meant for operations without IPC_NOWAIT,
// at most five of them.
//
// Source: semtimedop(2) of Linux. macOS lacks the call; there it tries, and sleeps in between.
[[nodiscard]] int TimedSemop(int set, struct sembuf* operations, std::size_t count,
                             const struct timespec* longest);

}  // namespace platform

#endif  // PLATFORM_TIMED_SEMAPHORE_H_
