#ifndef PLATFORM_FILE_CREATION_H_
#define PLATFORM_FILE_CREATION_H_

#include <sys/types.h>

#include "platform/path_walk.h"
#include "platform/unique_fd.h"

// Creating regular files that were not there: never another's, never through a link.

namespace platform {

enum class NewFileMode {
  kUnderUmask,  // 0666 less umask
  kEverybody,   // 0666, whatever the umask
};

// Creates the file of a located item under its name and opens it; `flags` are those of open(2)
// without O_CREAT. With `kEverybody` the mode is set after the creation: whoever is killed between
// the two leaves a file with 0666 less umask.
//
// Returns 0 or the error number: EEXIST where anything has the name. `modeError` becomes 0, or the
// error number where the file was made and its mode could not be set. `fd` and `modeError` are
// unchanged on failure.
[[nodiscard]] int CreateFile(const LocatedItem& item, int flags, NewFileMode mode, UniqueFd* fd,
                             int* modeError);

// The same with `kEverybody` for a file that has its mode by the time that it has its name, however
// the process ends, where kernel and file system can rename without replacing. Elsewhere as
// `CreateFile`. A process that is killed meanwhile may leave an empty temporary file beside it,
// whose name begins with a dot and the item's name; the next creation removes it, and at most 16 of
// them.
[[nodiscard]] int CreateFileForEverybody(const LocatedItem& item, int flags, UniqueFd* fd,
                                         int* modeError);

}  // namespace platform

#endif  // PLATFORM_FILE_CREATION_H_
