#ifndef TESTS_SUPPORT_AFTER_REMOVAL_H_
#define TESTS_SUPPORT_AFTER_REMOVAL_H_

#include <cerrno>
#include <functional>
#include <unistd.h>
#include <utility>

#include "platform/system_calls_for_testing.h"

namespace test {

// Lets somebody interfere right after the first `unlinkat` of a scope, successful or not: between
// the removal of a name and what is done next. One at a time.
class AfterRemoval {
 public:
  explicit AfterRemoval(std::function<void()> interfere) {
    Interference() = std::move(interfere);
    calls_->unlinkat = [](int folder, const char* name, int flags) {
      const int result = ::unlinkat(folder, name, flags);
      const int error = errno;
      if (const auto now = std::exchange(Interference(), nullptr)) now();
      errno = error;
      return result;
    };
  }
  ~AfterRemoval() { Interference() = nullptr; }
  AfterRemoval(const AfterRemoval&) = delete;
  AfterRemoval& operator=(const AfterRemoval&) = delete;

 private:
  static std::function<void()>& Interference() {
    static std::function<void()> interference;
    return interference;
  }

  platform::ScopedSystemCalls calls_;
};

}  // namespace test

#endif  // TESTS_SUPPORT_AFTER_REMOVAL_H_
