#ifndef LOG_RECORD_FORMAT_H_
#define LOG_RECORD_FORMAT_H_

#include <array>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "log/api/level.h"
#include "log/api/printf_format.h"

// How a record becomes a line of text. Eleven fields, each but the last followed by the separator:
//
//   timestamp | [LEVEL] | text1 | ... | text6 | thread id | effective user id | message
//
//   11/16/26 06:20:56:007 | [INFO] |  | Module |  |  |  | Component | 1734821 | 0 | Started

namespace dunmar {

inline constexpr std::size_t kMessageBufferBytes = 4096;
inline constexpr std::size_t kTimestampBufferBytes = 256;

// The six texts of a record; null counts as empty.
using RecordTexts = std::array<const char*, 6>;

// The date and time of the last record. Most records are made in the same second as the one before
// them, and converting a second costs more than the rest of a line.
struct TimestampCache {
  std::int64_t seconds = 0;
  std::size_t length = 0;  // bytes of `text`; 0: nothing kept
  std::array<char, kTimestampBufferBytes> text = {};
};

// What a target lends to the forming of its records.
struct RecordContext {
  const std::string& separator;
  bool logThreadId;
  const std::vector<std::string>& maskedKeys;
  std::int64_t& lastRecordTime;  // set to the seconds of each record
  TimestampCache& timestampCache;
};

// Forms a message in a buffer of kMessageBufferBytes: at most 4094 bytes, the rest is cut off.
// What counts is the text up to its NUL; the result is that of `vsnprintf`, which may be larger,
// or negative for arguments that cannot be formatted. Without arguments (null), where the format is
// the message, and for less than 2 bytes the result is 0 and the buffer is left alone.
int FormatMessage(char* buffer, std::size_t bufferBytes, const char* format, va_list* arguments)
    DUNMAR_PRINTF_FORMAT(3, 0);

// Appends local date and time in the format "%x %X" of `strftime`, at most kTimestampBufferBytes
// with its NUL, then ":" and at least three digits of milliseconds: "11/16/26 06:20:56:007".
// `timeMs` is in milliseconds since the beginning of 1970 in UTC; 0 stands for now. Before 1970
// both parts are negative: -1500 is the second -1 and ":-500". A time that cannot be converted
// gives an empty date. Sets `lastRecordTime` to the seconds. A new time zone (`RefreshTimeZone`)
// shows from the next second on.
void FormatTimestamp(std::int64_t timeMs, TimestampCache& cache, std::int64_t& lastRecordTime,
                     std::string& out);

// The kernel's number of the calling thread in decimal (platform/thread_id.h), or an empty text.
[[nodiscard]] std::string GetThreadIdText(bool logThreadId);

// Whether the message holds an access token: the text ".eyJ" somewhere from the first character of
// the first "eyJ" on. JSON Web Tokens have two parts that begin so (RFC 7519); what this rule does
// not find is written.
[[nodiscard]] bool HoldsAccessToken(std::string_view message);

// Appends the line of a record to `out`, without a line end. A message that holds an access token
// is replaced by "Found access/device token. Log skipped." at the level WARN; in any other one
// credentials are masked (credential_masking.h).
void FormatRecord(const RecordContext& context, std::int64_t timeMs, LogLevel level,
                  const RecordTexts& texts, std::string_view message, std::string& out);

}  // namespace dunmar

#endif  // LOG_RECORD_FORMAT_H_
