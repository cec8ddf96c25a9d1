#ifndef LOG_LOG_SETUP_H_
#define LOG_LOG_SETUP_H_

#include <string>

#include "log/api/level.h"
#include "log/log_target_base.h"

// The threshold of a target and the place of its file. Meant to be called before the target is
// registered. Nothing is logged.
//
// Process-wide: all but `ChooseLevel` may be the console user for a moment.

namespace dunmar {

// What a marker file asks for.
enum class LevelMarker { kNoMarker, kTraceMarker, kDebugMarker };

// The threshold for a requested one and the marker that was found: TRACE for a trace marker, for a
// debug marker DEBUG, unless the requested one is lower.
[[nodiscard]] LogLevel ChooseLevel(LogLevel requested, LevelMarker marker);

// Sets the threshold to the level, or lower where a marker file in the console user's logs folder
// asks for it. The first of these that is there, and no folder, counts; its content does not.
// *stem* is the target's file name without extension at the time of the call.
//
//   stem.trace, stem.debug, kobb.trace, kobb.debug
//
// Process-wide: makes the logs folder where it is missing.
void SetLevel(LogTargetBase& target, LogLevel level);

// Sets the target's file: `fileName` (null or empty: the name that the target has) in `folder`
// (null or empty: Library/Logs/Caldris/Ixer in the console user's home), and opens it once, which
// makes it where it is missing, with mode 0666: every user may write it. The result, and whether
// the target may be opened at all, is whether that worked; false too for a given name that holds a
// folder, and the path is then half-changed. A given folder is not made; it should hold nothing
// else whose name begins with the file's stem: that is removed with old copies (pruning.h).
//
// Where the home cannot be told (the account database cannot be read) there is no default: false,
// and nothing is made.
//
// Where the two product folders of the default are newly made and somebody is at the console they
// become that person's, with mode 0777; a link in the place of either is left alone. Without a
// logs folder the default is "/Caldris/Ixer" behind the path that the target has: at the root of
// the disk for a target whose file was never set.
bool SetLogFile(LogTargetBase& target, const char* fileName, const char* folder);

// Library/Logs in the console user's home, both made with mode 0700 where they are missing, by the
// user that the process is. The home is that of the user's name or, in the second, that of the
// process while it is the console user. False, `out` unchanged, where the home cannot be told or
// they cannot be made, and for the second also where the process may not become the console user.
[[nodiscard]] bool GetConsoleUserLogsFolder(std::string& out);
[[nodiscard]] bool GetLogsFolderAsConsoleUser(std::string& out);

// The home folder of the process while it is the console user. False, `out` unchanged, where it may
// not become that user. True with `out` unchanged where the home cannot be told.
[[nodiscard]] bool GetHomeAsConsoleUser(std::string& out);

}  // namespace dunmar

#endif  // LOG_LOG_SETUP_H_
