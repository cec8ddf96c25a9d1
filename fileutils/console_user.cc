#include "fileutils/console_user.h"

#include <optional>

#include "platform/console_user.h"
#include "platform/host.h"

namespace fileutils {

std::optional<platform::ConsoleUser> FindConsoleUser() {
  platform::ConsoleUser user;
  if (!platform::CurrentHost().console->GetConsoleUser(&user)) return std::nullopt;
  if (user.name.empty() || user.name == "loginwindow") return std::nullopt;
  return user;
}

}  // namespace fileutils
