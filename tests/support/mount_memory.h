#ifndef TESTS_SUPPORT_MOUNT_MEMORY_H_
#define TESTS_SUPPORT_MOUNT_MEMORY_H_

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <sys/mount.h>

#include "tests/support/files.h"

namespace test {

// Mounts an empty memory file system at a folder, which is made: for
// RootOptions::beforeChangeRoot.
inline void MountMemory(const std::string& path) {
  MakeDirs(path);
// Only where this is known are the arguments of mount those used here.
#ifdef MS_BIND
  if (mount("none", path.c_str(), "tmpfs", 0, "mode=0755") == 0) return;
#else
  errno = ENOTSUP;
#endif
  ADD_FAILURE() << "mount " << path << ": " << std::strerror(errno);
}

}  // namespace test

#endif  // TESTS_SUPPORT_MOUNT_MEMORY_H_
