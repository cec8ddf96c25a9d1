#ifndef LOG_ROLLOVER_H_
#define LOG_ROLLOVER_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "log/api/level.h"

// When a log file is copied aside, and under which name. The deed itself is
// `LogTargetDefault::CheckRollover`.

namespace dunmar {

inline constexpr std::int64_t kRolloverCheckSeconds = 900;

// Bytes from which on a file is rotated, by the target's threshold: 50 MiB at TRACE, 20 MiB at
// DEBUG, 15 MiB at any other.
[[nodiscard]] std::uint64_t SizeLimit(LogLevel threshold);

// Whether the record times say that it is time for another check. A clock that goes back delays it.
[[nodiscard]] bool IsCheckDue(std::int64_t lastRecordTime, std::int64_t lastCheckTime);

// The dated copy's path: "/a/Ixer.log" -> "/a/Ixer 2026-11-16 06-20-56.log", by the path rules of
// fileutils/foundation_paths.h. The first is for now, local time, the second for any text.
[[nodiscard]] std::string MakeBackupName(const std::string& path);
[[nodiscard]] std::string MakeBackupName(const std::string& path, const std::string& dateTimeText);

// Where the marker lies that keeps old copies: beside the log file, with a doubled slash before its
// name. "/a/Ixer.log" -> "/a//kobb.trace", "Ixer.log" -> "Ixer.log//kobb.trace".
[[nodiscard]] std::string KeepLogsMarkerPath(const std::string& filePath);

// The first bytes of the marker, nine at most; empty where it is no regular file or cannot be
// opened with the access of `fopen`'s mode "rw+" (platform/fopen_access.h). Never waits.
[[nodiscard]] std::string ReadKeepLogsMarker(const std::string& markerPath);

// The first nine bytes of a file that says so: exactly "keeplogs", up to its end or a NUL.
[[nodiscard]] bool SaysKeepLogs(std::string_view firstBytes);

}  // namespace dunmar

#endif  // LOG_ROLLOVER_H_
