#include "platform/kernel_thread_id.h"

#include <sys/syscall.h>
#include <unistd.h>

namespace platform {

std::int32_t KernelThreadId() {
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
  // `syscall` is deprecated as a whole; the call that would replace it tells another number type
  // and does no less work. The record shows the number's low 32 bits.
  return static_cast<std::int32_t>(::syscall(SYS_thread_selfid));
#pragma clang diagnostic pop
}

}  // namespace platform
