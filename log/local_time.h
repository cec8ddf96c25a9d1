#ifndef LOG_LOCAL_TIME_H_
#define LOG_LOCAL_TIME_H_

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>

namespace dunmar {

// Takes notice of a change of the time zone. The conversions below do not: the C library would look
// at the zone file each time.
void RefreshTimeZone();

// Seconds since the beginning of 1970 in UTC as local time. False, `local` unchanged, where the
// year does not fit.
[[nodiscard]] bool ToLocalTime(std::int64_t seconds, std::tm* local);

// The local time by a format of `strftime`, with its NUL, into a buffer. Returns the number of
// bytes without the NUL; 0, an empty text, where the time cannot be converted or the text does not
// fit.
std::size_t FormatLocalTime(std::int64_t seconds, const char* format, char* buffer,
                            std::size_t bufferBytes);

// The local date of now + `days` x 86400 seconds, "2026-11-16". Around a change of the clock that
// may be the day before or after the one that a calendar would give.
[[nodiscard]] std::string GetDateText(int days);

// The local date and time of now, "2026-11-16 06-20-56".
[[nodiscard]] std::string GetDateTimeText();

}  // namespace dunmar

#endif  // LOG_LOCAL_TIME_H_
