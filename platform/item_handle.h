#ifndef PLATFORM_ITEM_HANDLE_H_
#define PLATFORM_ITEM_HANDLE_H_

#include <string>

#include "platform/unique_fd.h"

namespace platform {

// Opens a handle on the item `name` in the open folder `folder`: on the item
// itself, a symbolic link included, whatever its kind and without any right
// to read it. The handle serves `fstat`, `ReadLinkHandle` and, for a folder,
// the `...at` calls; it neither reads nor lists.
//
// macOS half: on folders, regular files and links alone (EINVAL for the rest),
// and for others than root with the right to read, which macOS 13 and later do
// not ask for a folder that may be searched.
//
// Returns 0 or the error number (ENOENT, ENOTDIR, EACCES, ENAMETOOLONG, ...);
// `handle` is unchanged on failure.
[[nodiscard]] int OpenItemHandle(int folder, const char* name, UniqueFd* handle);

// Reads the text of the symbolic link behind a handle of `OpenItemHandle`, so
// that the link that was examined is the link that is read. Returns 0 or the
// error number (EINVAL: not a link); `text` is unchanged on failure.
[[nodiscard]] int ReadLinkHandle(const UniqueFd& handle, std::string* text);

}  // namespace platform

#endif  // PLATFORM_ITEM_HANDLE_H_
