#ifndef PLATFORM_MACOS_HOST_PARTS_H_
#define PLATFORM_MACOS_HOST_PARTS_H_

#include "platform/host.h"

// The members of the real host, each in a file of its own.

namespace platform {

[[nodiscard]] ConsoleUserSource& MacConsoleUserSource();
[[nodiscard]] DirectoryLookup& MacDirectoryLookup();
[[nodiscard]] HostInfo& MacHostInfo();
[[nodiscard]] Desktop& MacDesktop();

}  // namespace platform

#endif  // PLATFORM_MACOS_HOST_PARTS_H_
