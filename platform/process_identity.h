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

// Makes the process the user again that it was before a switch. Where the system
// refuses (it may lack memory) it is asked three times more; after that the
// process goes on as the user that it is.
void RestoreEffectiveUser(ProcessIdentity& identity, uid_t user);

// The system's own, the same on every system.
[[nodiscard]] ProcessIdentity& SystemProcessIdentity();

}  // namespace platform

#endif  // PLATFORM_PROCESS_IDENTITY_H_
