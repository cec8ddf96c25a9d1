#ifndef LOG_API_LOG_CALL_H_
#define LOG_API_LOG_CALL_H_

#include "log/api/level.h"
#include "log/api/printf_format.h"

namespace dunmar {

// A log call: level, module name, component name, two further texts, a
// printf-style format and its arguments. No text is null. Returns 0.
typedef int (*LogCallFunction)(LogLevel level, const char* module, const char* component,
                               const char* text4, const char* text5, const char* format, ...)
    DUNMAR_PRINTF_FORMAT(6, 7);

// Process-wide: the log call of this process. Null until a program sets one, and
// then nothing is logged: callers test it first.
//
//   if (dunmar::LogCallFunction log = dunmar::LogCall()) {
//     (void)log(dunmar::kInfo, "Module", "Component", "", "", "%d items", count);
//   }
[[nodiscard]] LogCallFunction LogCall();

// Process-wide: replaces the log call; null takes it away. Not to be called while
// another thread logs.
void SetLogCall(LogCallFunction logCall);

}  // namespace dunmar

#endif  // LOG_API_LOG_CALL_H_
