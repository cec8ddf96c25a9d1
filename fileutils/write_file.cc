#include "fileutils/write_file.h"

#include <string>

#include "fileutils/link_check.h"
#include "fileutils/link_removal.h"
#include "platform/atomic_write.h"
#include "platform/path_walk.h"

namespace fileutils {

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
  return platform::WriteFileAtomically(item, content);
}

}  // namespace fileutils
