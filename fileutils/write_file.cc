#include "fileutils/write_file.h"

#include <fcntl.h>
#include <string>
#include <sys/stat.h>

#include "fileutils/link_check.h"
#include "fileutils/link_removal.h"
#include "platform/atomic_write.h"
#include "platform/path_walk.h"

namespace fileutils {

namespace {

// The platform's own write may replace whatever has the name.
bool IsOfAnotherKind(const platform::LocatedItem& item) {
  struct stat status = {};
  if (::fstatat(item.folder.Get(), item.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    return false;
  }
  return !S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode);
}

}  // namespace

bool WriteFile(const std::string& path, const std::string& content, bool /*unusedFlag*/,
               bool skipLinkCheck) {
  if (path.empty()) return false;
  unsigned int links = kNoLinks;
  // The write replaces a link, so what is to be written through one is the place that it leads to.
  auto lastLink = platform::LastLink::kFollow;
  if (!skipLinkCheck) {
    links = CheckPathLinks(path, /*checkAncestors=*/true, /*checkHardLinks=*/false);
    lastLink = platform::LastLink::kLeave;
  }
  if (links == kLinkedAncestor) return false;
  platform::LocatedItem item;
  if (platform::LocateItem(path, lastLink, &item) != 0) return false;
  if (links == kIsLink && !RemoveLink(item)) return false;
  if (item.mustBeFolder || IsOfAnotherKind(item)) return false;
  return platform::WriteFileAtomically(item, content);
}

}  // namespace fileutils
