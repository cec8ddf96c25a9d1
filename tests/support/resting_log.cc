#include "log/api/log_call.h"
#include "tests/support/resting_state.h"

namespace test {

namespace {

const RestingStateCheck kLogCall([] {
  return dunmar::LogCall() == nullptr ? "" : "log call left set";
});

}  // namespace

}  // namespace test
