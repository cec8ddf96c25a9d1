#ifndef FILEUTILS_CONSOLE_USER_H_
#define FILEUTILS_CONSOLE_USER_H_

#include <optional>

#include "platform/console_user.h"

namespace fileutils {

// The person at the console. Nobody where the platform names nobody, gives an empty
// name, or names the login window ("loginwindow").
[[nodiscard]] std::optional<platform::ConsoleUser> FindConsoleUser();

}  // namespace fileutils

#endif  // FILEUTILS_CONSOLE_USER_H_
