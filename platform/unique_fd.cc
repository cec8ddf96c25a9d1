#include "platform/unique_fd.h"

#include <cerrno>
#include <unistd.h>
#include <utility>

namespace platform {

void UniqueFd::Reset(int fd) {
  const int previous = std::exchange(fd_, fd);
  if (previous < 0) return;
  const int savedErrno = errno;
  // Not repeated when interrupted: the descriptor is gone even then, and another thread may have
  // its number by now.
  (void)::close(previous);
  errno = savedErrno;
}

}  // namespace platform
