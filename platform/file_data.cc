#include "platform/file_data.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <unistd.h>

#include "platform/interrupted_call.h"

namespace platform {

bool FindDataByReading(int fd, off_t position, Extent* data) {
  constexpr std::size_t kBlockBytes = 4096;
  std::array<char, kBlockBytes> block;
  bool isFound = false;
  off_t begin = position;
  for (off_t at = position;;) {
    const ssize_t got =
        RepeatInterrupted([&] { return ::pread(fd, block.data(), block.size(), at); });
    if (got < 0) {
      *data = {.begin = begin, .end = std::numeric_limits<off_t>::max()};
      return true;
    }
    const bool isHole =
        std::all_of(block.begin(), block.begin() + got, [](char byte) { return byte == '\0'; });
    if (!isHole && !isFound) begin = at;
    if (isFound && isHole) {
      *data = {.begin = begin, .end = at};
      return true;
    }
    if (got == 0) return false;
    isFound = isFound || !isHole;
    at += got;
  }
}

}  // namespace platform
