#ifndef PLATFORM_CLOCK_H_
#define PLATFORM_CLOCK_H_

#include <cstdint>

namespace platform {

// A moment of the wall clock, since the beginning of 1970 in UTC.
struct TimeOfDay {
  std::int64_t seconds = 0;
  std::int32_t microseconds = 0;  // 0 to 999999
};

class Clock {
 public:
  // `gettimeofday`. Never fails; the clock may be set back between two calls.
  [[nodiscard]] virtual TimeOfDay Now() = 0;

 protected:
  ~Clock() = default;
};

// The system's own clock, the same on every system.
[[nodiscard]] Clock& SystemClock();

}  // namespace platform

#endif  // PLATFORM_CLOCK_H_
