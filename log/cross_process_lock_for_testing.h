#ifndef LOG_CROSS_PROCESS_LOCK_FOR_TESTING_H_
#define LOG_CROSS_PROCESS_LOCK_FOR_TESTING_H_

#include "log/cross_process_lock.h"

namespace dunmar {

// The number of the set that the object is attached to, or -1.
[[nodiscard]] int SemaphoreSetForTesting(const CrossProcessLock& lock);

}  // namespace dunmar

#endif  // LOG_CROSS_PROCESS_LOCK_FOR_TESTING_H_
