#include "platform/write_all.h"

#include <cerrno>
#include <cstddef>
#include <sys/types.h>

#include "platform/interrupted_call.h"
#include "platform/system_calls.h"

namespace platform {

int WriteAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count =
        RepeatInterrupted([&] { return Calls().write(fd, bytes.data(), bytes.size()); });
    if (count < 0) return errno;
    if (count == 0) return EIO;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return 0;
}

}  // namespace platform
