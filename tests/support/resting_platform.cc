#include "platform/host_for_testing.h"
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

}  // namespace

}  // namespace test
