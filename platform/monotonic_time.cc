#include "platform/monotonic_time.h"

#include "platform/system_calls.h"

namespace platform {

std::chrono::nanoseconds MonotonicTime() {
  timespec now = {};
  (void)Calls().clockGettime(CLOCK_MONOTONIC, &now);  // fails only for a clock that is not there
  return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

}  // namespace platform
