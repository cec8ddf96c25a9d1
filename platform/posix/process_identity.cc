#include "platform/process_identity.h"

#include <cerrno>
#include <unistd.h>

#include "platform/posix/host_parts.h"

namespace platform {
namespace {

class SystemProcessIdentity final : public ProcessIdentity {
 public:
  uid_t EffectiveUser() override { return geteuid(); }

  int SetEffectiveUser(uid_t user) override { return seteuid(user) == 0 ? 0 : errno; }
};

}  // namespace

ProcessIdentity& PosixProcessIdentity() {
  static SystemProcessIdentity identity;
  return identity;
}

}  // namespace platform
