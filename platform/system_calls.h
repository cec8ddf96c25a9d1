#ifndef PLATFORM_SYSTEM_CALLS_H_
#define PLATFORM_SYSTEM_CALLS_H_

#include <cstddef>
#include <sys/types.h>

namespace platform {

// The system calls whose failure no test can arrange on a real file system,
// or that a test must be able to record instead of having them happen. Each
// entry behaves as the call of its name: result and `errno`. No entry without
// a test that replaces it (system_calls_for_testing.h).
struct SystemCalls {
  ssize_t (*write)(int fd, const void* bytes, std::size_t count);
  int (*fsync)(int fd);
  int (*close)(int fd);
  int (*fchmod)(int fd, mode_t mode);
  int (*fchown)(int fd, uid_t owner, gid_t group);
  int (*renameat)(int oldFolder, const char* oldName, int newFolder, const char* newName);
  int (*mkdirat)(int folder, const char* name, mode_t mode);
  int (*unlinkat)(int folder, const char* name, int flags);
  int (*remove)(const char* path);
  char* (*basename)(char* path);
  char* (*dirname)(char* path);
};

// Process-wide: the table in force. The system's own calls, unless a test
// replaced some.
[[nodiscard]] const SystemCalls& Calls();

}  // namespace platform

#endif  // PLATFORM_SYSTEM_CALLS_H_
