#include "fileutils/login_user_switch_guard.h"

#include <optional>
#include <sys/types.h>

#include "fileutils/console_user.h"
#include "fileutils/login_user_switch_guard_for_testing.h"
#include "platform/console_user.h"
#include "platform/host.h"
#include "platform/process_identity.h"

namespace fileutils {

namespace {

constexpr auto kNoUser = static_cast<uid_t>(-1);

}  // namespace

LoginUserSwitchGuard::LoginUserSwitchGuard(uid_t savedUser)
    : savedUser_(savedUser), lock_("SwitchToLoginUserCriticalSection") {
  lock_.Lock();
}

LoginUserSwitchGuard::LoginUserSwitchGuard() : LoginUserSwitchGuard(kNoUser) {
  const std::optional<platform::ConsoleUser> user = FindConsoleUser();
  if (!user) return;
  platform::ProcessIdentity& identity = *platform::CurrentHost().identity;
  const uid_t effectiveUser = identity.EffectiveUser();
  if (user->uid == effectiveUser) return;
  savedUser_ = effectiveUser;
  // A process without privilege goes on as the user that it is.
  (void)identity.SetEffectiveUser(user->uid);
}

LoginUserSwitchGuard::~LoginUserSwitchGuard() {
  if (savedUser_ != kNoUser) {
    platform::RestoreEffectiveUser(*platform::CurrentHost().identity, savedUser_);
  }
  lock_.Unlock();
}

const platform::NamedRecursiveLock& LockForTesting(const LoginUserSwitchGuard& guard) {
  return guard.lock_;
}

}  // namespace fileutils
