#include "platform/host.h"

#include "platform/host_for_testing.h"

namespace platform {

namespace {

// Null: the real one, which is made at its first use.
const Host* replacedHost = nullptr;

}  // namespace

const Host& CurrentHost() { return replacedHost != nullptr ? *replacedHost : DefaultHost(); }

ScopedHost::ScopedHost() : host_(CurrentHost()), previous_(replacedHost) { replacedHost = &host_; }

ScopedHost::~ScopedHost() { replacedHost = previous_; }

bool HostIsDefaultForTesting() { return replacedHost == nullptr; }

}  // namespace platform
