#ifndef LOG_LOG_FILE_H_
#define LOG_LOG_FILE_H_

#include <string>

#include "log/file_stream.h"

// Opening a log file where others may write and plant what they like. Nothing here waits, follows
// a link in the last place, or changes the mode of a file that it did not make.

namespace dunmar {

// Opens the file for appending into the stream, after closing what the stream had open. A missing
// file is made with mode 0666 exactly, so that the processes of every user can append, and has that
// mode before it has its name (platform/file_creation.h); where the mode cannot be set the file
// stays open and "\n Error Set File permissions. errno = %s" goes to standard error, with the
// error's text and no line end.
//
// A link at the path, dangling or not, is removed and a file made. False for a file of several hard
// links, for anything but a regular file or a character device, and where the system refuses;
// unless the link check refused the file (fileutils/link_check.h) the stream is then closed and
// has failbit. Links among the ancestors are followed under the owner rule (platform/path_walk.h).
[[nodiscard]] bool OpenLogFile(const std::string& path, FileStream& stream);

// Closes the stream if it has a file open, and cuts the file at the path to nothing: a regular file
// of one name, which keeps its mode. A link there is removed and an empty file made, as a missing
// file is (mode 0666 less umask). False, nothing cut, where that cannot be.
[[nodiscard]] bool TruncateLogFile(const std::string& path, FileStream& stream);

}  // namespace dunmar

#endif  // LOG_LOG_FILE_H_
