#include "platform/timed_semaphore.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <sys/ipc.h>

#include "platform/monotonic_time.h"
#include "platform/system_calls.h"

namespace platform {

namespace {

using std::chrono::nanoseconds;

// What the kernel takes in one call.
constexpr std::size_t kMostOperations = 5;
// Long enough to cost no processor time worth mentioning, short beside the holding of a lock.
constexpr nanoseconds kPause = std::chrono::milliseconds(1);

}  // namespace

int TimedSemop(int set, struct sembuf* operations, std::size_t count,
               const struct timespec* longest) {
  std::array<sembuf, kMostOperations> tries = {};
  if (count > tries.size()) {
    errno = E2BIG;
    return -1;
  }
  std::copy_n(operations, count, tries.begin());
  for (sembuf& operation : tries) {
    operation.sem_flg = static_cast<short>(operation.sem_flg | IPC_NOWAIT);
  }
  const nanoseconds limit = std::chrono::seconds(longest->tv_sec) + nanoseconds(longest->tv_nsec);
  const nanoseconds start = MonotonicTime();
  for (;;) {
    if (Calls().semop(set, tries.data(), count) != -1) return 0;
    if (errno != EAGAIN) return -1;
    const nanoseconds left = limit - (MonotonicTime() - start);
    if (left <= nanoseconds::zero()) {
      errno = EAGAIN;
      return -1;
    }
    const timespec pause = ToTimespec(std::min(left, kPause));
    if (Calls().nanosleep(&pause, nullptr) == -1) return -1;
  }
}

}  // namespace platform
