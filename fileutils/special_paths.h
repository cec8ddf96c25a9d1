#ifndef FILEUTILS_SPECIAL_PATHS_H_
#define FILEUTILS_SPECIAL_PATHS_H_

#include <string>
#include <vector>

#include "log/api/abstract_logger.h"

// The folders that must not be deleted.

namespace fileutils {

// The path is, byte for byte, the mount point of a volume.
[[nodiscard]] bool IsVolumeRoot(const std::string& path);

// Appends thirteen fixed system folders and the home folder of the console user (of
// the effective user where nobody is at the console), looked up afresh. The home is
// left out where it cannot be told.
void GetSpecialPaths(std::vector<std::string>& paths);

// The path is a volume root or exactly one of the special paths. The comparison is
// literal on purpose: "/Library/" is not "/Library", and what lies below a special
// path is not special; callers pass standardised paths. A WARN message of the
// component "FileUtils" tells which (log_hooks.h); `logger` may be null.
[[nodiscard]] bool IsSpecialPath(const std::string& path, dunmar::AbstractLogger* logger);

}  // namespace fileutils

#endif  // FILEUTILS_SPECIAL_PATHS_H_
