#include "platform/item_query.h"

#include <sys/stat.h>

namespace platform {
namespace {

// A path with a NUL byte names nothing; the system would see the part before it.
bool IsPath(const std::string& path) { return path.find('\0') == std::string::npos; }

}  // namespace

bool ItemExists(const std::string& path, bool* isFolder) {
  struct stat status;
  if (!IsPath(path) || stat(path.c_str(), &status) != 0) return false;
  if (isFolder != nullptr) *isFolder = S_ISDIR(status.st_mode);
  return true;
}

bool GetItemSize(const std::string& path, std::uint64_t* size) {
  struct stat status;
  if (!IsPath(path) || lstat(path.c_str(), &status) != 0) return false;
  *size = static_cast<std::uint64_t>(status.st_size);
  return true;
}

}  // namespace platform
