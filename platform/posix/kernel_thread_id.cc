#include "platform/kernel_thread_id.h"

#include <unistd.h>

namespace platform {

std::int32_t KernelThreadId() { return ::gettid(); }

}  // namespace platform
