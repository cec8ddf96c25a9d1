#include "platform/host.h"
#include "platform/posix/host_parts.h"

namespace platform {

const Host& DefaultHost() {
  static const Host host{
      .console = &PosixConsoleUserSource(),
      .directories = &PosixDirectoryLookup(),
      .identity = &SystemProcessIdentity(),
      .clock = &SystemClock(),
      .info = &PosixHostInfo(),
      .desktop = &PosixDesktop(),
  };
  return host;
}

}  // namespace platform
