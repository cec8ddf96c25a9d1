#include "fileutils/link_removal.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

#include "platform/system_calls.h"

namespace fileutils {

bool RemoveLink(const platform::LocatedItem& item) {
  struct stat status = {};
  const int result = ::fstatat(item.folder.Get(), item.name.c_str(), &status, AT_SYMLINK_NOFOLLOW);
  if (result != 0 || !S_ISLNK(status.st_mode)) return true;
  return platform::Calls().unlinkat(item.folder.Get(), item.name.c_str(), 0) == 0 ||
         errno == ENOENT;
}

}  // namespace fileutils
