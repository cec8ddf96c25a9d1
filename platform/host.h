#ifndef PLATFORM_HOST_H_
#define PLATFORM_HOST_H_

#include "platform/clock.h"
#include "platform/console_user.h"
#include "platform/desktop.h"
#include "platform/directory_lookup.h"
#include "platform/host_info.h"
#include "platform/process_identity.h"

namespace platform {

// The facts about machine and person that a program of the family asks for.
// No member is null; none is owned.
struct Host {
  ConsoleUserSource* console;
  DirectoryLookup* directories;
  ProcessIdentity* identity;
  Clock* clock;
  HostInfo* info;
  Desktop* desktop;
};

// Process-wide: the host in force, to be read at each use and never kept. The
// real one, unless a test replaced members of it (host_for_testing.h).
[[nodiscard]] const Host& CurrentHost();

// The real one: made of the platform half that was linked.
[[nodiscard]] const Host& DefaultHost();

}  // namespace platform

#endif  // PLATFORM_HOST_H_
