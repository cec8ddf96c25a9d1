#ifndef FILEUTILS_DELETE_DIRECTORY_H_
#define FILEUTILS_DELETE_DIRECTORY_H_

#include <string>

#include "log/api/abstract_logger.h"

namespace fileutils {

// Removes a directory: with `recursive` the whole tree, otherwise an empty one or a
// single file or link, and never more. A link is removed itself and never followed, a
// mount point never entered (platform/item_removal.h). False for an empty path, a
// missing item, and where removal fails part of the way; what was removed until then
// is gone.
//
// Without `recursive` a directory with something in it stays, and so does a link to
// one: false without a message. An empty directory that may not be read goes. One that
// may not be read and is full, or is filled meanwhile, is a failed removal.
//
// With `checkSpecialPath` a special path (special_paths.h) is refused with a WARN
// message; that check itself gets no logger, so its own message goes to the hooks
// even where this call was given a logger. A failed removal is a WARN message, a
// successful one an INFO message where `logSuccess` is set, all of the component
// "FileUtils" (log_hooks.h). `unusedFlag` changes nothing; `logger` may be null.
[[nodiscard]] bool DeleteDirectory(const std::string& path, bool recursive, bool unusedFlag,
                                   dunmar::AbstractLogger* logger, bool logSuccess,
                                   bool checkSpecialPath);

}  // namespace fileutils

#endif  // FILEUTILS_DELETE_DIRECTORY_H_
