#include "platform/posix/mount_table.h"

#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <utility>

namespace platform {

namespace {

// Cuts the text before the next `separator` off `rest`, and the separator with it.
std::string_view TakeUpTo(char separator, std::string_view* rest) {
  const std::size_t end = rest->find(separator);
  const std::string_view taken = rest->substr(0, end);
  rest->remove_prefix(end == std::string_view::npos ? rest->size() : end + 1);
  return taken;
}

bool IsNumber(std::string_view text, std::uint64_t number) {
  std::uint64_t parsed = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), parsed);
  return error == std::errc() && end == text.data() + text.size() && parsed == number;
}

std::string UndoEscapes(std::string_view text) {
  constexpr std::size_t kDigits = 3;
  std::string result;
  while (!text.empty()) {
    const std::string_view digits = text.substr(1, kDigits);
    unsigned char byte = 0;
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), byte, /*base=*/8);
    if (text.front() == '\\' && error == std::errc() && end == digits.data() + kDigits) {
      result += static_cast<char>(byte);
      text.remove_prefix(1 + kDigits);
    } else {
      result += text.front();
      text.remove_prefix(1);
    }
  }
  return result;
}

}  // namespace

int GetMountId(int fd, std::uint64_t* id) {
  struct statx status = {};
  if (::statx(fd, "", AT_EMPTY_PATH | AT_STATX_DONT_SYNC, STATX_MNT_ID, &status) == 0 &&
      (status.stx_mask & STATX_MNT_ID) != 0) {
    *id = status.stx_mnt_id;
    return 0;
  }
  // Room for no handle at all: only the mount is wanted, and that is told even so.
  struct file_handle handle = {};
  int mountId = 0;
  if (::name_to_handle_at(fd, "", &handle, &mountId, AT_EMPTY_PATH) != 0 && errno != EOVERFLOW) {
    return errno;
  }
  *id = static_cast<std::uint64_t>(mountId);
  return 0;
}

bool FindMountPoint(std::string_view mountInfo, std::uint64_t id, std::string* mountPoint) {
  constexpr int kFieldsBetween = 3;
  while (!mountInfo.empty()) {
    std::string_view line = TakeUpTo('\n', &mountInfo);
    if (!IsNumber(TakeUpTo(' ', &line), id)) continue;
    for (int i = 0; i < kFieldsBetween; ++i) (void)TakeUpTo(' ', &line);
    const std::string_view field = TakeUpTo(' ', &line);
    if (field.empty()) continue;
    *mountPoint = UndoEscapes(field);
    return true;
  }
  return false;
}

}  // namespace platform
