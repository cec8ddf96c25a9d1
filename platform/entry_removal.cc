#include "platform/entry_removal.h"

#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <sys/stat.h>
#include <utility>

#include "platform/item_handle.h"
#include "platform/system_calls.h"
#include "platform/unique_fd.h"

namespace platform {

namespace {

bool IsName(const std::string& text) {
  return !text.empty() && text != "." && text != ".." && text.find('\0') == std::string::npos;
}

// The entry may change its kind between the look and the removal: then the removal fails.
int RemoveHere(int folder, const std::string& name) {
  struct stat status = {};
  if (::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return errno;
  const int flags = S_ISDIR(status.st_mode) ? AT_REMOVEDIR : 0;
  return Calls().unlinkat(folder, name.c_str(), flags) == 0 ? 0 : errno;
}

}  // namespace

int RemoveEntry(int folder, const std::string& relativePath) {
  UniqueFd below;
  std::size_t begin = 0;
  for (;;) {
    const std::size_t slash = relativePath.find('/', begin);
    const std::string name = relativePath.substr(begin, slash - begin);
    if (!IsName(name)) return EINVAL;
    const int current = below ? below.Get() : folder;
    if (slash == std::string::npos) return RemoveHere(current, name);
    UniqueFd next;
    struct stat status = {};
    const int error = ExamineItem(current, name.c_str(), &next, &status);
    if (error != 0) return error;
    if (!S_ISDIR(status.st_mode)) return ENOTDIR;
    below = std::move(next);
    begin = slash + 1;
  }
}

}  // namespace platform
