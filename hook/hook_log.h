#ifndef HOOK_HOOK_LOG_H_
#define HOOK_HOOK_LOG_H_

#include "log/api/abstract_logger.h"
#include "log/api/level.h"
#include "log/api/log_call.h"
#include "log/api/printf_format.h"
#include "log/log_target_base.h"

namespace hook {

// The name that every record of the hook carries.
inline constexpr const char* kModuleName = "ZintCustomHook";

// Process-wide: opens the hook's log, as "Ixer.log" in the console user's logs folder, and makes
// the actions' messages and those of whoever is handed `FrontEnd()` reach it. Where there is no log
// to be had they are dropped, and so are they where others keep the log's lock, once the process
// has waited 60 seconds for it in all. Target and front end stay until the process ends.
void StartLog();

// Process-wide: takes the target from the registry, which closes the log. The log call stays set.
void StopLog();

// Process-wide: the target of the hook's log. Null at first. Not owned.
void SetLogTarget(dunmar::LogTargetBase* target);
[[nodiscard]] dunmar::LogTargetBase* LogTarget();

// Process-wide: the front end that `HookLogCallback` hands messages to. Null at first.
// Not owned.
void SetFrontEnd(dunmar::AbstractLogger* frontEnd);
[[nodiscard]] dunmar::AbstractLogger* FrontEnd();

// A log call (log/api/log_call.h) that hands the message to the front end: level, fifth
// text, module name, format and arguments. Component and fourth text go no further, on
// purpose. Without a front end nothing is logged. Returns 0.
int HookLogCallback(dunmar::LogLevel level, const char* module, const char* component,
                    const char* text4, const char* text5, const char* format, ...)
    DUNMAR_PRINTF_FORMAT(6, 7);

}  // namespace hook

// Logs a message of the hook's actions through the process's log call, where there is
// one: level, then a printf-style format and its arguments.
#define HOOK_LOG(level, ...)                                                                \
  do {                                                                                      \
    if (const ::dunmar::LogCallFunction hookLogCall = ::dunmar::LogCall()) {                \
      (void)hookLogCall(level, ::hook::kModuleName, "ZintCustomHook", "", "", __VA_ARGS__); \
    }                                                                                       \
  } while (false)

#endif  // HOOK_HOOK_LOG_H_
