#ifndef PLATFORM_FOLDER_LISTING_H_
#define PLATFORM_FOLDER_LISTING_H_

#include <functional>
#include <string>
#include <vector>

namespace platform {

// contentsOfDirectoryAtPath:error: of NSFileManager: the names in a folder,
// without "." and "..", hidden ones included, in no particular order. A link to
// a folder is followed (under the owner rule in the POSIX half). A name that has
// no UTF-8 form is "" in the macOS half. False, `names` unchanged, where the path
// names no folder or it cannot be read.
[[nodiscard]] bool ListFolder(const std::string& path, std::vector<std::string>* names);

struct WalkEntry {
  std::string path;  // relative to the walked folder, e.g. "sub/file"
  bool isFolder;     // a real folder, not a link to one
};

// enumeratorAtPath: of NSFileManager: everything below a folder, each folder
// before what is in it, in no particular order among siblings. Links are
// reported and never entered, nor are mount points in the POSIX half. `visit` is
// called for each entry; for a folder its result says whether to enter it
// (skipDescendants), for anything else it does not matter. `visit` may remove the
// entry that it was handed. A root that is missing or no folder yields nothing;
// what cannot be read is passed over, and in the macOS half what has no UTF-8 form.
void WalkFolder(const std::string& root, const std::function<bool(const WalkEntry&)>& visit);

}  // namespace platform

#endif  // PLATFORM_FOLDER_LISTING_H_
