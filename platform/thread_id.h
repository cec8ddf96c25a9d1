#ifndef PLATFORM_THREAD_ID_H_
#define PLATFORM_THREAD_ID_H_

#include <cstdint>

namespace platform {

// The kernel's number of the calling thread, which system tools show too: on macOS
// thread_selfid (system call 372), on Linux `gettid`. Asks the kernel once a thread, and once more
// after a `fork`.
[[nodiscard]] std::int32_t CurrentThreadId();

}  // namespace platform

#endif  // PLATFORM_THREAD_ID_H_
