#include "fileutils/write_file.h"

#include <string>

#include "fileutils/items.h"
#include "fileutils/link_check.h"
#include "platform/atomic_write.h"
#include "platform/path_walk.h"

namespace fileutils {

bool WriteFile(const std::string& path, const std::string& content, bool /*unusedFlag*/,
               bool skipLinkCheck) {
  if (path.empty()) return false;
  if (skipLinkCheck) {
    // The write replaces a link, so it is handed the place that the link leads to.
    platform::LocatedItem item;
    if (platform::LocateItem(path, platform::LastLink::kFollow, &item) != 0) return false;
    return !item.mustBeFolder && platform::WriteFileAtomically(item.path, content);
  }
  const unsigned int links =
      CheckPathLinks(path, /*checkAncestors=*/true, /*checkHardLinks=*/false);
  if (links == kLinkedAncestor) return false;
  if (links == kIsLink && !DeletePath(path, /*unusedFlag=*/false)) return false;
  return platform::WriteFileAtomically(path, content);
}

}  // namespace fileutils
