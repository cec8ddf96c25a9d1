#ifndef PLATFORM_ENTRY_REMOVAL_H_
#define PLATFORM_ENTRY_REMOVAL_H_

#include <string>

namespace platform {

// `remove` for an entry below an open folder (any handle serves): removes a file, a link (never
// what it leads to) or an empty folder. `relativePath` is made of names and single "/", as
// `WalkFolder` gives it; no link on the way is followed, so that nothing outside the folder is
// ever touched. Returns 0 or the error number (ENOENT; ENOTDIR or ELOOP: a link or a file on the
// way; ENOTEMPTY or EEXIST: a folder with something in it; EBUSY: a mount point; EINVAL: an empty
// path, an empty name in it, ".", ".." or a NUL byte).
[[nodiscard]] int RemoveEntry(int folder, const std::string& relativePath);

}  // namespace platform

#endif  // PLATFORM_ENTRY_REMOVAL_H_
