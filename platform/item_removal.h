#ifndef PLATFORM_ITEM_REMOVAL_H_
#define PLATFORM_ITEM_REMOVAL_H_

#include <string>

namespace platform {

// removeItemAtPath:error: of NSFileManager: removes the item itself, a folder
// with everything in it. A link is removed and never followed, at the path and
// inside the tree. A missing item is a failure. The first error ends the walk;
// what was removed until then stays removed. Entries that vanish meanwhile do
// not count. On failure `errorText` (may be null) gets a description.
//
// POSIX half: from handle to handle, links among the path's ancestors under
// the owner rule of path_walk.h. A mount point, told by its mount and not by
// its device, is never entered and makes the call fail (EBUSY), be it the item
// itself or inside it. Depth costs neither stack nor descriptors; more than 4096
// levels, which no path reaches, are a failure (ENAMETOOLONG).
[[nodiscard]] bool RemoveItem(const std::string& path, std::string* errorText);

// Removes a file, a link itself or an empty directory, and never what is in a
// directory: a full one stays and is a failure, also one that is filled at the
// last moment. The rest as for `RemoveItem`. An empty directory need not be
// readable in the POSIX half.
//
// macOS half: removeItemAtPath:error: as well, with a delegate that declines
// everything below the item.
[[nodiscard]] bool RemoveSingleItem(const std::string& path, std::string* errorText);

}  // namespace platform

#endif  // PLATFORM_ITEM_REMOVAL_H_
