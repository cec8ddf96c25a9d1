#ifndef PLATFORM_ITEM_HANDLE_H_
#define PLATFORM_ITEM_HANDLE_H_

#include <string>
#include <sys/stat.h>

#include "platform/unique_fd.h"

namespace platform {

// Looks at the item `name` in the open folder `folder` (or AT_FDCWD), a
// symbolic link itself included: `status` is the item's, and `handle` is on
// that very item, whatever its kind, without any right to read it and without
// opening it. The handle serves `fstat`, `ReadLinkHandle` and, for a folder,
// the `...at` calls; it neither reads nor lists.
//
// macOS half: a handle on folders and links alone, for the rest it is empty;
// and for others than root the right to read is asked for, by macOS 13 and
// later not of a folder that may be searched.
//
// Returns 0 or the error number (ENOENT, ENOTDIR, EACCES, ENAMETOOLONG, ...);
// `handle` and `status` are unchanged on failure.
[[nodiscard]] int ExamineItem(int folder, const char* name, UniqueFd* handle, struct stat* status);

// Reads the text of the symbolic link behind a handle of `ExamineItem`, so that
// the link that was examined is the link that is read. Returns 0 or the error
// number (EINVAL: not a link); `text` is unchanged on failure.
[[nodiscard]] int ReadLinkHandle(const UniqueFd& handle, std::string* text);

}  // namespace platform

#endif  // PLATFORM_ITEM_HANDLE_H_
