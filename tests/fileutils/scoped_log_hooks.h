#ifndef TESTS_FILEUTILS_SCOPED_LOG_HOOKS_H_
#define TESTS_FILEUTILS_SCOPED_LOG_HOOKS_H_

#include "fileutils/log_hooks.h"
#include "tests/support/recording_logger.h"

namespace test {

// The utilities' hooks for a scope, taken away at its end; `RecordedCalls` starts empty.
class ScopedLogHooks {
 public:
  explicit ScopedLogHooks(dunmar::LogCallFunction hook,
                          dunmar::AbstractLogger* defaultLogger = nullptr) {
    RecordedCalls().clear();
    fileutils::SetLogHook(hook);
    fileutils::SetDefaultLogger(defaultLogger);
  }
  ~ScopedLogHooks() {
    fileutils::SetLogHook(nullptr);
    fileutils::SetDefaultLogger(nullptr);
  }
  ScopedLogHooks(const ScopedLogHooks&) = delete;
  ScopedLogHooks& operator=(const ScopedLogHooks&) = delete;
};

}  // namespace test

#endif  // TESTS_FILEUTILS_SCOPED_LOG_HOOKS_H_
