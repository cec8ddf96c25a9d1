#ifndef PLATFORM_MONOTONIC_TIME_H_
#define PLATFORM_MONOTONIC_TIME_H_

#include <chrono>
#include <ctime>

namespace platform {

// Tells the time that has passed since some moment before the process began, by a clock that nobody
// can set: the difference of two answers is how long something took.
[[nodiscard]] std::chrono::nanoseconds MonotonicTime();

// Writes a length of time, 0 or more, the way system calls take it.
[[nodiscard]] constexpr timespec ToTimespec(std::chrono::nanoseconds time) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
  return {.tv_sec = static_cast<decltype(timespec::tv_sec)>(seconds.count()),
          .tv_nsec = static_cast<decltype(timespec::tv_nsec)>((time - seconds).count())};
}

}  // namespace platform

#endif  // PLATFORM_MONOTONIC_TIME_H_
