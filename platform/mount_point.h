#ifndef PLATFORM_MOUNT_POINT_H_
#define PLATFORM_MOUNT_POINT_H_

#include <string>

namespace platform {

// The mount point of the file system that holds `path`, links followed: the
// f_mntonname of `statfs`. Returns 0 or the error number of that call (ENOENT,
// ENAMETOOLONG, ENOTDIR, EACCES, ELOOP, ...); `mountPoint` is unchanged on
// failure.
//
// POSIX half: by mount, so bind mounts and stacked mounts are told apart. A
// mount that this process cannot see listed (inside a changed root, or with no
// /proc) is taken to begin at the topmost folder on the same device; a file
// counts as on the device of its folder.
[[nodiscard]] int GetMountPoint(const std::string& path, std::string* mountPoint);

}  // namespace platform

#endif  // PLATFORM_MOUNT_POINT_H_
