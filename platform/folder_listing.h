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

// What a walk does with an entry that it came to.
enum class WalkStep {
  kPass,    // nothing; what is in a directory is not visited
  kEnter,   // visits what is in it, if it is a directory
  kRemove,  // removes it as `remove` does; if it is a directory that stays, visits what is in it
  kStop,    // ends the walk
};

// Visits everything below an open directory, each directory before what is in it, in no particular
// order among siblings. (On macOS: enumeratorAtPath: of NSFileManager.) `visit` gets each entry's
// path relative to the directory, e.g. "sub/file", and says what to do with the entry. Links are
// visited and may be removed, but never followed. What cannot be read or removed is passed over.
//
// `folder` is any handle on the directory, `path` is what it was opened by.
//
// POSIX half: goes by the handle alone, whatever is moved meanwhile, and enters no mount point.
// Holds three descriptors at most, whatever the depth, and only the names of directories that are
// still to be entered, 100,000 at most. Visits no more entries of a directory than it had when its
// turn came. Somebody who makes directories ahead of the walk can keep it going: `visit` ends it.
//
// macOS half: finds entries by `path` and removes them below the handle. Passes over what has no
// UTF-8 form.
void WalkFolder(int folder, const std::string& path,
                const std::function<WalkStep(const std::string& entry)>& visit);

}  // namespace platform

#endif  // PLATFORM_FOLDER_LISTING_H_
