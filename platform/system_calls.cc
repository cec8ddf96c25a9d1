#include "platform/system_calls.h"

#include <cstdio>
#include <libgen.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/system_calls_for_testing.h"

namespace platform {

namespace {

// In the order of the table and without its names: <libgen.h> makes a macro of `basename`.
constexpr SystemCalls kSystem = {::write,   ::fsync,    ::close,  ::fchmod,   ::fchown, ::renameat,
                                 ::mkdirat, ::unlinkat, ::remove, ::basename, ::dirname};

const SystemCalls* currentCalls = &kSystem;

}  // namespace

const SystemCalls& Calls() { return *currentCalls; }

ScopedSystemCalls::ScopedSystemCalls() : calls_(Calls()), previous_(currentCalls) {
  currentCalls = &calls_;
}

ScopedSystemCalls::~ScopedSystemCalls() { currentCalls = previous_; }

bool SystemCallsAreDefaultForTesting() { return currentCalls == &kSystem; }

}  // namespace platform
