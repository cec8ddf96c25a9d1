#ifndef TESTS_SUPPORT_RESTING_STATE_H_
#define TESTS_SUPPORT_RESTING_STATE_H_

#include <functional>
#include <string>

namespace test {

// A check of process-wide state that runs after every test and fails it where something was
// left behind: returns what is wrong, empty where all is well. Define one at namespace scope
// in the file that knows the state:
//
//   const test::RestingStateCheck check([] { return LogCall() ? "log call left set" : ""; });
//
// The support library itself checks the effective uid, the umask, the working folder, the
// environment's TZ and LANG, the open descriptors and the ignored signals.
class RestingStateCheck {
 public:
  explicit RestingStateCheck(std::function<std::string()> check);
};

// What is wrong now, all checks together; empty where all is well.
[[nodiscard]] std::string DescribeUnrest();

// Adds the listener that checks after every test. Called by test_main.cc.
void InstallRestingStateListener();

}  // namespace test

#endif  // TESTS_SUPPORT_RESTING_STATE_H_
