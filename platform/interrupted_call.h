#ifndef PLATFORM_INTERRUPTED_CALL_H_
#define PLATFORM_INTERRUPTED_CALL_H_

#include <cerrno>

namespace platform {

// Makes a system call until no signal interrupts it: the result of `call`,
// again after each -1 with EINTR. Not for `close`, which has closed even then.
template <typename Call>
auto RepeatInterrupted(Call call) {
  for (;;) {
    const auto result = call();
    if (result != -1 || errno != EINTR) return result;
  }
}

}  // namespace platform

#endif  // PLATFORM_INTERRUPTED_CALL_H_
