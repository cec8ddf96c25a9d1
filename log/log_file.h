#ifndef LOG_LOG_FILE_H_
#define LOG_LOG_FILE_H_

#include <string>

#include "log/file_stream.h"
#include "platform/unique_fd.h"

// Opening, copying and emptying a log file where others may write and plant what they like. Nothing
// here waits, follows a link in the last place, or changes the mode of a file that it did not make.
//
// A log is copied and emptied by several calls, and meanwhile somebody can put another file in its
// place, one that only root may read. So both take the log as `file`, a descriptor of it that stays
// open until both are done (its number cannot go to another file then), and do nothing to any
// other.

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

// Copies what the log holds at the beginning of the call, and nothing that is appended meanwhile.
// The destination is treated as `fileutils::CopyFile` does with its check on. False, nothing
// copied, where the regular file at the path is not that of `file` or has several names.
[[nodiscard]] bool CopyLogFile(const std::string& path, const platform::UniqueFd& file,
                               const std::string& destination);

// Closes the stream if it has a file open, and cuts the log to nothing: the regular file at the
// path if it is that of `file` and has one name. It keeps its mode. A link there is removed and an
// empty file made, as a missing file is (mode 0666 less umask). False, nothing cut, where that
// cannot be.
[[nodiscard]] bool TruncateLogFile(const std::string& path, const platform::UniqueFd& file,
                                   FileStream& stream);

}  // namespace dunmar

#endif  // LOG_LOG_FILE_H_
