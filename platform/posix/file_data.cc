#include "platform/file_data.h"

namespace platform {

bool FindData(int fd, off_t position, Extent* data) {
  return FindDataBySeeking(fd, position, data);
}

}  // namespace platform
