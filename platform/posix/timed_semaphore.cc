#include "platform/timed_semaphore.h"

namespace platform {

int TimedSemop(int set, struct sembuf* operations, std::size_t count,
               const struct timespec* longest) {
  return ::semtimedop(set, operations, count, longest);
}

}  // namespace platform
