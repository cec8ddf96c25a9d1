#ifndef FILEUTILS_LOG_HOOKS_H_
#define FILEUTILS_LOG_HOOKS_H_

#include "log/api/abstract_logger.h"
#include "log/api/log_call.h"

// Where the messages of the utilities go. They are the utilities' own and apart
// from the log call of the program, `dunmar::LogCall`; a program that wants to see
// them installs one of the two hooks below.

namespace fileutils {

// Process-wide: a log call for the utilities' messages; null (the initial state)
// takes it away. It gets the module name "DunmarUtils", the component of the
// message, and two empty texts.
void SetLogHook(dunmar::LogCallFunction hook);
[[nodiscard]] dunmar::LogCallFunction LogHook();

// Process-wide: a front end for the utilities' messages while no log hook is set;
// null (the initial state) takes it away. Not owned.
void SetDefaultLogger(dunmar::AbstractLogger* logger);
[[nodiscard]] dunmar::AbstractLogger* DefaultLogger();

// The one way that a message takes; at most one member is set.
struct LogRoute {
  dunmar::AbstractLogger* logger = nullptr;
  dunmar::LogCallFunction call = nullptr;
};

// The order of preference: the logger that the caller was given (may be null),
// the log hook, the default logger, none.
[[nodiscard]] LogRoute ChooseLogRoute(dunmar::AbstractLogger* given);

}  // namespace fileutils

// Logs a message of the utilities: given logger (may be null), level, component,
// then a printf-style format and its arguments. A macro, because a variadic call
// cannot be handed on to another with its format still checked.
#define FILEUTILS_LOG(given, level, component, ...)                                    \
  do {                                                                                 \
    const ::fileutils::LogRoute fileutilsRoute = ::fileutils::ChooseLogRoute(given);   \
    if (fileutilsRoute.logger != nullptr) {                                            \
      fileutilsRoute.logger->Log(level, "", component, __VA_ARGS__);                   \
    } else if (fileutilsRoute.call != nullptr) {                                       \
      (void)fileutilsRoute.call(level, "DunmarUtils", component, "", "", __VA_ARGS__); \
    }                                                                                  \
  } while (false)

#endif  // FILEUTILS_LOG_HOOKS_H_
