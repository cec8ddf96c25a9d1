#ifndef PLATFORM_FILE_DATA_H_
#define PLATFORM_FILE_DATA_H_

#include <limits>
#include <sys/types.h>

namespace platform {

// A stretch of a file that is no hole, as offsets in bytes: from `begin` to before `end`.
struct Extent {
  off_t begin = 0;
  off_t end = 0;
};

// The `end` of a search that goes on for as long as there is data.
inline constexpr off_t kNoEnd = std::numeric_limits<off_t>::max();

// Finds the data at or after `position` and before `end` of a regular file, whose file offset may
// be moved. An extent may hold zeros and may end where data goes on, but what lies between two of
// them is zeros. Where the file cannot be read, all from there to `end` is data. False where none
// is left; `data` is unchanged then.
//
// macOS half: the first 64 MiB are read, for their holes are not to be believed.
[[nodiscard]] bool FindData(int fd, off_t position, off_t end, Extent* data);

// The same as the file system tells it, by reading where that tells nothing.
[[nodiscard]] bool FindDataBySeeking(int fd, off_t position, off_t end, Extent* data);

// The same by reading in blocks of 4096 bytes: a block of zeros counts as a hole.
[[nodiscard]] bool FindDataByReading(int fd, off_t position, off_t end, Extent* data);

}  // namespace platform

#endif  // PLATFORM_FILE_DATA_H_
