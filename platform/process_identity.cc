#include "platform/process_identity.h"

#include <cerrno>
#include <unistd.h>

namespace platform {

namespace {

class Identity final : public ProcessIdentity {
 public:
  uid_t EffectiveUser() override { return ::geteuid(); }

  int SetEffectiveUser(uid_t user) override { return ::seteuid(user) == 0 ? 0 : errno; }
};

}  // namespace

void RestoreEffectiveUser(ProcessIdentity& identity, uid_t user) {
  constexpr int kMoreTries = 3;
  int error = identity.SetEffectiveUser(user);
  for (int i = 0; i < kMoreTries && error != 0 && identity.EffectiveUser() != user; ++i) {
    error = identity.SetEffectiveUser(user);
  }
}

ProcessIdentity& SystemProcessIdentity() {
  static Identity identity;
  return identity;
}

}  // namespace platform
