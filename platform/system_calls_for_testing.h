#ifndef PLATFORM_SYSTEM_CALLS_FOR_TESTING_H_
#define PLATFORM_SYSTEM_CALLS_FOR_TESTING_H_

#include "platform/system_calls.h"

namespace platform {

// Puts a changed copy of the table in force for the life of the object, and
// the one before it back afterwards. Scopes nest.
//
//   ScopedSystemCalls calls;
//   calls->fsync = [](int) { errno = EIO; return -1; };
class ScopedSystemCalls {
 public:
  ScopedSystemCalls();
  ~ScopedSystemCalls();
  ScopedSystemCalls(const ScopedSystemCalls&) = delete;
  ScopedSystemCalls& operator=(const ScopedSystemCalls&) = delete;

  SystemCalls* operator->() { return &calls_; }

 private:
  SystemCalls calls_;
  const SystemCalls* previous_;
};

// True while no test has replaced anything.
[[nodiscard]] bool SystemCallsAreDefaultForTesting();

}  // namespace platform

#endif  // PLATFORM_SYSTEM_CALLS_FOR_TESTING_H_
