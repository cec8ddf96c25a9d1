#ifndef PLATFORM_HOST_FOR_TESTING_H_
#define PLATFORM_HOST_FOR_TESTING_H_

#include "platform/host.h"

namespace platform {

// Puts a changed copy of the current host in force for the life of the object,
// and the one before it back afterwards. Scopes nest.
//
//   ScopedHost host;
//   host->console = &fakeConsole;
class ScopedHost {
 public:
  ScopedHost();
  ~ScopedHost();
  ScopedHost(const ScopedHost&) = delete;
  ScopedHost& operator=(const ScopedHost&) = delete;

  Host* operator->() { return &host_; }

 private:
  Host host_;
  const Host* previous_;
};

// True while no test has replaced anything.
[[nodiscard]] bool HostIsDefaultForTesting();

}  // namespace platform

#endif  // PLATFORM_HOST_FOR_TESTING_H_
