#include "platform/file_data.h"

namespace platform {

bool FindData(int fd, off_t position, off_t end, Extent* data) {
  return FindDataBySeeking(fd, position, end, data);
}

}  // namespace platform
