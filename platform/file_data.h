#ifndef PLATFORM_FILE_DATA_H_
#define PLATFORM_FILE_DATA_H_

#include <sys/types.h>

namespace platform {

// A stretch of a file that is no hole, as offsets in bytes: from `begin` to before `end`.
struct Extent {
  off_t begin = 0;
  off_t end = 0;
};

// Finds the data at or after `position` of a regular file, the file offset moved or not. An extent
// may begin with zeros and may end where data goes on, but what lies between two of them is zeros.
// Where neither holes can be told nor the file read, all from `position` on is data, without a
// known end. False where none is left; `data` is unchanged then.
[[nodiscard]] bool FindData(int fd, off_t position, Extent* data);

// The same by reading, in blocks of 4096 bytes: a block of zeros counts as a hole.
[[nodiscard]] bool FindDataByReading(int fd, off_t position, Extent* data);

}  // namespace platform

#endif  // PLATFORM_FILE_DATA_H_
