#ifndef FILEUTILS_COPY_FILE_H_
#define FILEUTILS_COPY_FILE_H_

#include <string>
#include <sys/types.h>

#include "platform/unique_fd.h"

namespace fileutils {

// Copies the bytes of a regular file over those of another, which keeps its mode and
// its names, or is made with mode 0666 less umask. Holes of the source stay holes.
// False where either cannot be opened (anything but a regular file cannot), and where
// both are one file, which is then left as it is. Errors while writing are not
// noticed. Nothing is logged. Links are followed under the owner rule
// (platform/path_walk.h).
//
// Unless `skipLinkCheck` is set, a destination below a linked folder or with several
// hard links is refused (link_check.h), and a link at the destination, dangling or
// not, is removed and a plain file made.
[[nodiscard]] bool CopyFile(const std::string& source, const std::string& destination,
                            bool skipLinkCheck);

// The same for a regular file that the caller has open for reading, whose offset may
// be moved, and for its first `size` bytes at most: what is appended meanwhile is not
// copied. The destination is treated as without `skipLinkCheck`.
[[nodiscard]] bool CopyOpenFile(const platform::UniqueFd& source, off_t size,
                                const std::string& destination);

}  // namespace fileutils

#endif  // FILEUTILS_COPY_FILE_H_
