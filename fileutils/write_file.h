#ifndef FILEUTILS_WRITE_FILE_H_
#define FILEUTILS_WRITE_FILE_H_

#include <string>

namespace fileutils {

// Writes a whole file, byte for byte, in one step that readers never see half done
// (platform/atomic_write.h): the old file stays as it was unless the call succeeds.
// A replaced file's permission bits are kept, a new file has 0666 less umask. Only a
// regular file is replaced; anything else in its place is left alone and the call
// fails. False for an empty path. Nothing is logged.
//
// Unless `skipLinkCheck` is set, a path below a linked folder is refused
// (link_check.h), and a link at the path, dangling or not, is removed and a plain
// file made. With it, a link at the path is resolved and its target written, made
// where it is missing; links are followed under the owner rule (platform/path_walk.h).
// `unusedFlag` changes nothing.
[[nodiscard]] bool WriteFile(const std::string& path, const std::string& content, bool unusedFlag,
                             bool skipLinkCheck);

}  // namespace fileutils

#endif  // FILEUTILS_WRITE_FILE_H_
