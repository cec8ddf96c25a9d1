#ifndef PLATFORM_SYSTEM_CALLS_H_
#define PLATFORM_SYSTEM_CALLS_H_

#include <cstddef>
#include <ctime>
#include <pwd.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/utsname.h>

namespace platform {

// The last argument of `semctl`: semctl(2) of Linux has programs define this union, macOS defines
// it with another name and the same members.
union SemaphoreArgument {
  int val;
  struct semid_ds* buf;
  unsigned short* array;
};

// The system calls whose failure no test can arrange on a real file system,
// or that a test must be able to record instead of having them happen. Each
// entry behaves as the call of its name: result and `errno`. No entry without
// a test that replaces it (system_calls_for_testing.h).
struct SystemCalls {
  ssize_t (*read)(int fd, void* bytes, std::size_t count);
  ssize_t (*write)(int fd, const void* bytes, std::size_t count);
  int (*fsync)(int fd);
  int (*fstat)(int fd, struct stat* status);
  int (*fstatat)(int folder, const char* name, struct stat* status, int flags);
  int (*close)(int fd);
  int (*flock)(int fd, int operation);
  int (*ftruncate)(int fd, off_t length);
  int (*fchmod)(int fd, mode_t mode);
  int (*fchmodat)(int folder, const char* name, mode_t mode, int flags);
  int (*fchown)(int fd, uid_t owner, gid_t group);
  int (*renameat)(int oldFolder, const char* oldName, int newFolder, const char* newName);
  int (*mkdirat)(int folder, const char* name, mode_t mode);
  int (*unlinkat)(int folder, const char* name, int flags);
  int (*remove)(const char* path);
  int (*uname)(struct utsname* names);
  int (*getentropy)(void* bytes, std::size_t count);
  int (*nanosleep)(const struct timespec* time, struct timespec* rest);
  int (*clockGettime)(clockid_t clock, struct timespec* time);  // clock_gettime
  int (*semget)(key_t key, int count, int flags);
  int (*semop)(int set, struct sembuf* operations, std::size_t count);
  // Made of the others where the system lacks it (timed_semaphore.h).
  int (*semtimedop)(int set, struct sembuf* operations, std::size_t count,
                    const struct timespec* longest);
  int (*semctl)(int set, int semaphore, int command, SemaphoreArgument argument);
  // NOLINTBEGIN(readability-identifier-naming): the names of the calls.
  int (*getpwuid_r)(uid_t uid, struct passwd* entry, char* buffer, std::size_t size,
                    struct passwd** found);
  int (*getpwnam_r)(const char* name, struct passwd* entry, char* buffer, std::size_t size,
                    struct passwd** found);
  // NOLINTEND(readability-identifier-naming)
  char* (*basename)(char* path);
  char* (*dirname)(char* path);
};

// Process-wide: the table in force. The system's own calls, unless a test
// replaced some.
[[nodiscard]] const SystemCalls& Calls();

}  // namespace platform

#endif  // PLATFORM_SYSTEM_CALLS_H_
