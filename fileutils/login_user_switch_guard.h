#ifndef FILEUTILS_LOGIN_USER_SWITCH_GUARD_H_
#define FILEUTILS_LOGIN_USER_SWITCH_GUARD_H_

#include <sys/types.h>

#include "platform/named_recursive_lock.h"

namespace fileutils {

// Makes the process the console user for the life of the object, and what it was
// before afterwards, on every way out.
//
// Process-wide: the effective user. Meant for a process of one thread. Nothing
// happens where nobody is at the console or the process is that user already, so
// guards nest: the inner one finds nothing to do. A switch that the system refuses (a
// process without privilege) is not noticed; the work is done as the user one is.
//
// Each guard has a lock of its own, "SwitchToLoginUserCriticalSection": it marks the
// stretch for whoever looks at the process and never makes one guard wait for another.
class LoginUserSwitchGuard {
 public:
  LoginUserSwitchGuard();
  ~LoginUserSwitchGuard();
  LoginUserSwitchGuard(const LoginUserSwitchGuard&) = delete;
  LoginUserSwitchGuard& operator=(const LoginUserSwitchGuard&) = delete;

 private:
  // Holds the lock and has not switched. A constructor of its own, so that where the
  // other one fails half-way the destructor gives the lock back.
  explicit LoginUserSwitchGuard(uid_t savedUser);

  friend const platform::NamedRecursiveLock& LockForTesting(const LoginUserSwitchGuard& guard);

  uid_t savedUser_;  // all ones: no switch was made
  platform::NamedRecursiveLock lock_;
};

}  // namespace fileutils

#endif  // FILEUTILS_LOGIN_USER_SWITCH_GUARD_H_
