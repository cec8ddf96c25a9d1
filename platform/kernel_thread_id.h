#ifndef PLATFORM_KERNEL_THREAD_ID_H_
#define PLATFORM_KERNEL_THREAD_ID_H_

#include <cstdint>

namespace platform {

// Asks the kernel for what `CurrentThreadId` remembers.
[[nodiscard]] std::int32_t KernelThreadId();

}  // namespace platform

#endif  // PLATFORM_KERNEL_THREAD_ID_H_
