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

ProcessIdentity& SystemProcessIdentity() {
  static Identity identity;
  return identity;
}

}  // namespace platform
