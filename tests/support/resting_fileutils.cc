#include "fileutils/log_hooks.h"
#include "tests/support/resting_state.h"

namespace test {

namespace {

const RestingStateCheck kLogHook([] {
  return fileutils::LogHook() == nullptr ? "" : "log hook left set";
});

const RestingStateCheck kDefaultLogger([] {
  return fileutils::DefaultLogger() == nullptr ? "" : "default logger left set";
});

}  // namespace

}  // namespace test
