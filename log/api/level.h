#ifndef LOG_API_LEVEL_H_
#define LOG_API_LEVEL_H_

#include <cstdint>

namespace dunmar {

// How severe a record is, and the threshold of a target. Any number is a level;
// those below have a name.
using LogLevel = std::int32_t;

inline constexpr LogLevel kTrace = 10;
inline constexpr LogLevel kDebug = 20;
inline constexpr LogLevel kInfo = 30;
inline constexpr LogLevel kWarn = 40;
inline constexpr LogLevel kError = 50;
inline constexpr LogLevel kFatal = 60;
inline constexpr LogLevel kNone = 70;

// "TRACE", "DEBUG", "INFO", "WARN", "ERROR", "FATAL" or "NONE"; "ALL" for every
// other number.
[[nodiscard]] const char* GetLevelName(LogLevel level);

// Whether a target of this threshold writes a record of this level.
[[nodiscard]] constexpr bool IsLevelWritten(LogLevel level, LogLevel threshold) {
  return level >= threshold;
}

}  // namespace dunmar

#endif  // LOG_API_LEVEL_H_
