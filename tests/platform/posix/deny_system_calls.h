#ifndef TESTS_PLATFORM_POSIX_DENY_SYSTEM_CALLS_H_
#define TESTS_PLATFORM_POSIX_DENY_SYSTEM_CALLS_H_

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <vector>

namespace test {

// Makes the kernel answer the system calls of these numbers (SYS_statx, ...) with an error: ENOSYS,
// as one that does not know them yet, or another, as a sandbox does. For the rest of the process's
// life: only in a child.
inline void DenySystemCalls(const std::vector<std::uint32_t>& numbers,
                            std::uint32_t error = ENOSYS) {
  std::vector<sock_filter> program;
  program.push_back(
      {.code = BPF_LD | BPF_W | BPF_ABS, .jt = 0, .jf = 0, .k = offsetof(struct seccomp_data, nr)});
  for (const std::uint32_t number : numbers) {
    program.push_back({.code = BPF_JMP | BPF_JEQ | BPF_K, .jt = 0, .jf = 1, .k = number});
    program.push_back({.code = BPF_RET | BPF_K, .jt = 0, .jf = 0, .k = SECCOMP_RET_ERRNO | error});
  }
  program.push_back({.code = BPF_RET | BPF_K, .jt = 0, .jf = 0, .k = SECCOMP_RET_ALLOW});
  const sock_fprog filter = {.len = static_cast<unsigned short>(program.size()),
                             .filter = program.data()};
  ASSERT_EQ(0, ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0));
  ASSERT_EQ(0, ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter));
}

}  // namespace test

#endif  // TESTS_PLATFORM_POSIX_DENY_SYSTEM_CALLS_H_
