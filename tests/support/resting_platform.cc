#include "platform/host_for_testing.h"
#include "platform/named_recursive_lock_for_testing.h"
#include "platform/system_calls_for_testing.h"
#include "tests/support/resting_state.h"

namespace test {

namespace {

const RestingStateCheck kHost([] {
  return platform::HostIsDefaultForTesting() ? "" : "host left replaced";
});

const RestingStateCheck kSystemCalls([] {
  return platform::SystemCallsAreDefaultForTesting() ? "" : "system calls left replaced";
});

const RestingStateCheck kLocks([] {
  return platform::CountHeldLocksForTesting() == 0 ? "" : "lock left held";
});

}  // namespace

}  // namespace test
