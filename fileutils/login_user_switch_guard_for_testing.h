#ifndef FILEUTILS_LOGIN_USER_SWITCH_GUARD_FOR_TESTING_H_
#define FILEUTILS_LOGIN_USER_SWITCH_GUARD_FOR_TESTING_H_

#include "fileutils/login_user_switch_guard.h"
#include "platform/named_recursive_lock.h"

namespace fileutils {

// The lock that a guard holds.
[[nodiscard]] const platform::NamedRecursiveLock& LockForTesting(const LoginUserSwitchGuard& guard);

}  // namespace fileutils

#endif  // FILEUTILS_LOGIN_USER_SWITCH_GUARD_FOR_TESTING_H_
