#ifndef TESTS_SUPPORT_FAILING_ALLOCATION_H_
#define TESTS_SUPPORT_FAILING_ALLOCATION_H_

#include <cstddef>

namespace test {

// While it lives, one allocation by operator new fails as where memory has run out: the
// one after `successes` others. All before and after it succeed, so that code which goes
// on without the memory is found out. One at a time.
class ScopedAllocationFailure {
 public:
  explicit ScopedAllocationFailure(std::size_t successes);
  ~ScopedAllocationFailure();
  ScopedAllocationFailure(const ScopedAllocationFailure&) = delete;
  ScopedAllocationFailure& operator=(const ScopedAllocationFailure&) = delete;

  // The allocation that fails has been asked for.
  [[nodiscard]] bool HasFailed() const;
};

}  // namespace test

#endif  // TESTS_SUPPORT_FAILING_ALLOCATION_H_
