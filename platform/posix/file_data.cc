#include "platform/file_data.h"

#include <cerrno>
#include <limits>
#include <unistd.h>

namespace platform {

bool FindData(int fd, off_t position, Extent* data) {
  const off_t begin = ::lseek(fd, position, SEEK_DATA);
  if (begin < 0) return errno != ENXIO && FindDataByReading(fd, position, data);
  const off_t end = ::lseek(fd, begin, SEEK_HOLE);
  *data = {.begin = begin, .end = end < 0 ? std::numeric_limits<off_t>::max() : end};
  return true;
}

}  // namespace platform
