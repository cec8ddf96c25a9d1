#ifndef PLATFORM_PROCESS_IDENTITY_H_
#define PLATFORM_PROCESS_IDENTITY_H_

#include <sys/types.h>

namespace platform {

// The process's effective user. Process-wide.
class ProcessIdentity {
 public:
  [[nodiscard]] virtual uid_t EffectiveUser() = 0;

  // `seteuid`. Returns 0 or the error number (EPERM).
  [[nodiscard]] virtual int SetEffectiveUser(uid_t user) = 0;

 protected:
  ~ProcessIdentity() = default;
};

// The system's own, the same on every system.
[[nodiscard]] ProcessIdentity& SystemProcessIdentity();

}  // namespace platform

#endif  // PLATFORM_PROCESS_IDENTITY_H_
