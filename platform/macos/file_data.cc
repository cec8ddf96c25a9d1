#include "platform/file_data.h"

#include <algorithm>
#include <unistd.h>

namespace platform {

// APFS tells a hole where data has not reached the disk yet, and what is copied here is a log, just
// written to. So what a log may be long is read; behind it is nothing but what somebody has made of
// the file in order to be read for ever, and that is brought to the disk first.
bool FindData(int fd, off_t position, off_t end, Extent* data) {
  constexpr off_t kReadBytes = off_t{64} << 20;
  if (FindDataByReading(fd, position, std::min(end, kReadBytes), data)) return true;
  if (end <= kReadBytes || ::lseek(fd, 0, SEEK_END) <= kReadBytes) return false;
  (void)::fsync(fd);
  return FindDataBySeeking(fd, std::max(position, kReadBytes), end, data);
}

}  // namespace platform
