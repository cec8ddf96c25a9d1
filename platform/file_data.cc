#include "platform/file_data.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <unistd.h>

#include "platform/interrupted_call.h"

namespace platform {

bool FindDataBySeeking(int fd, off_t position, off_t end, Extent* data) {
  const off_t begin = ::lseek(fd, position, SEEK_DATA);
  if (begin < 0) return errno != ENXIO && FindDataByReading(fd, position, end, data);
  if (begin >= end) return false;
  const off_t hole = ::lseek(fd, begin, SEEK_HOLE);
  *data = {.begin = begin, .end = hole < 0 ? end : std::min(hole, end)};
  return true;
}

bool FindDataByReading(int fd, off_t position, off_t end, Extent* data) {
  constexpr off_t kBlockBytes = 4096;
  std::array<char, kBlockBytes> block;
  bool isFound = false;
  off_t begin = position;
  for (off_t at = position;;) {
    const auto wanted = static_cast<std::size_t>(std::clamp<off_t>(end - at, 0, kBlockBytes));
    const ssize_t got =
        wanted == 0 ? 0 : RepeatInterrupted([&] { return ::pread(fd, block.data(), wanted, at); });
    if (got < 0) {
      *data = {.begin = begin, .end = end};
      return true;
    }
    // Nothing at all, at the end, is a hole, too.
    const bool isHole =
        std::all_of(block.begin(), block.begin() + got, [](char byte) { return byte == '\0'; });
    if (isFound && isHole) {
      *data = {.begin = begin, .end = at};
      return true;
    }
    if (got == 0) return false;
    if (!isFound && !isHole) begin = at;
    isFound = isFound || !isHole;
    at += got;
  }
}

}  // namespace platform
