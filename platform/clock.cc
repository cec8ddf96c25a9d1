#include "platform/clock.h"

#include <sys/time.h>

namespace platform {

namespace {

class WallClock final : public Clock {
 public:
  TimeOfDay Now() override {
    timeval now = {};
    (void)::gettimeofday(&now, nullptr);  // fails only for a bad pointer
    return {.seconds = now.tv_sec, .microseconds = static_cast<std::int32_t>(now.tv_usec)};
  }
};

}  // namespace

Clock& SystemClock() {
  static WallClock clock;
  return clock;
}

}  // namespace platform
