#ifndef PLATFORM_ATOMIC_WRITE_H_
#define PLATFORM_ATOMIC_WRITE_H_

#include <string>
#include <string_view>

#include "platform/path_walk.h"

namespace platform {

// writeToFile:atomically:YES of NSData. A reader of `path` sees the old bytes,
// the new bytes, or no file where there was none, whatever fails and whenever
// the process is killed. True when the new content is in place.
//
// Replaces a regular file or a link (the link itself, never what it leads to);
// other names of a replaced file keep the old bytes. A folder at `path` is a
// failure and left alone, and so is a trailing "/". The file keeps the
// permission bits of the regular file that it replaces, otherwise it gets 0666
// less umask; owner and group are the writer's.
//
// POSIX half: items of other kinds at `path` are a failure as well. Links among
// the ancestors under the owner rule of path_walk.h. The content goes to a
// temporary file beside the target, dot-prefixed and made exclusively, is
// synced, renamed over the target, and the folder is synced. Any failure removes
// the temporary file. A killed process leaves at most one; the next write into
// that folder removes those whose writer is gone.
[[nodiscard]] bool WriteFileAtomically(const std::string& path, std::string_view content);

// The same at a place that was found before (path_walk.h). POSIX half: in that very folder,
// wherever its path leads by now.
[[nodiscard]] bool WriteFileAtomically(const LocatedItem& item, std::string_view content);

}  // namespace platform

#endif  // PLATFORM_ATOMIC_WRITE_H_
