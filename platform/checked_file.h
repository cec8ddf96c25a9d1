#ifndef PLATFORM_CHECKED_FILE_H_
#define PLATFORM_CHECKED_FILE_H_

#include <cstddef>
#include <string>

#include "platform/path_walk.h"
#include "platform/unique_fd.h"

// Opening regular files, for appending character devices too, and nothing else:
// a FIFO, a socket, another device or a folder is refused without being opened,
// so that nothing here ever waits.
// Links are followed under the owner rule of path_walk.h. Descriptors are
// close-on-exec and never become the controlling terminal.

namespace platform {

// Opens a file for reading, a link in the last place followed. Returns 0 or
// the error number; EINVAL where the item is not a regular file. `fd` is
// unchanged on failure.
[[nodiscard]] int OpenFileForReading(const std::string& path, UniqueFd* fd);

// The same for the file of a located item, a link in that place refused (ELOOP).
[[nodiscard]] int OpenFileForReading(const LocatedItem& item, UniqueFd* fd);

// The same with another access: O_RDONLY, O_WRONLY or O_RDWR.
[[nodiscard]] int OpenExistingFile(const std::string& path, int access, UniqueFd* fd);

enum class HardLinks { kAllow, kRefuse };

// Opens the file of a located item for writing, without truncating it. A
// missing one is made with mode 0666 less umask. A link in that place is
// refused (ELOOP): locate with `LastLink::kFollow` where it should be
// followed. With `HardLinks::kRefuse` a file of several names is refused
// (EMLINK), and one that had a second name here when it was opened is not
// taken. Returns 0 or the error number; `fd` is unchanged on failure.
[[nodiscard]] int OpenFileForWriting(const LocatedItem& item, HardLinks hardLinks, UniqueFd* fd);

// Opens the file of a located item for appending: a regular file of one name
// (EMLINK where it has several) or a character device. A missing one is made, as
// a regular file with mode 0666 whatever the umask (file_creation.h); `modeError`
// becomes the error number where that mode could not be set, and the file has what
// the umask leaves, else 0. Where a file comes or goes meanwhile the opening starts
// over, three tries in all (then EEXIST). A link in that place is refused (ELOOP),
// and so is everything else (EINVAL). The descriptor is non-blocking, which only a
// device notices. Returns 0 or the error number; `fd` and `modeError` are unchanged
// on failure.
[[nodiscard]] int OpenFileForAppending(const LocatedItem& item, UniqueFd* fd, int* modeError);

// Reads a whole file of at most `maxBytes` bytes. Returns 0 or the error
// number; EFBIG where it is larger. `content` is unchanged on failure.
[[nodiscard]] int ReadWholeFile(const std::string& path, std::size_t maxBytes,
                                std::string* content);

}  // namespace platform

#endif  // PLATFORM_CHECKED_FILE_H_
