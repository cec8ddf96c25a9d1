#include "platform/host.h"
#include "platform/macos/host_parts.h"

namespace platform {

const Host& DefaultHost() {
  static const Host host{
      .console = &MacConsoleUserSource(),
      .directories = &MacDirectoryLookup(),
      .identity = &SystemProcessIdentity(),
      .clock = &SystemClock(),
      .info = &MacHostInfo(),
      .desktop = &MacDesktop(),
  };
  return host;
}

}  // namespace platform
