#ifndef PLATFORM_POSIX_MOUNT_TABLE_H_
#define PLATFORM_POSIX_MOUNT_TABLE_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace platform {

// The number of the mount that holds the item behind an open descriptor, as
// the kernel tells it (statx, on older kernels name_to_handle_at); it needs no
// /proc. Returns 0 or the error number; `id` is unchanged on failure.
[[nodiscard]] int GetMountId(int fd, std::uint64_t* id);

// Finds a mount in the text of /proc/self/mountinfo (proc(5)) by its number,
// which is the first field of a line; the fifth is the mount point, with blank,
// tab, line end and backslash written as three octal digits. False,
// `mountPoint` unchanged, where it is not listed.
[[nodiscard]] bool FindMountPoint(std::string_view mountInfo, std::uint64_t id,
                                  std::string* mountPoint);

}  // namespace platform

#endif  // PLATFORM_POSIX_MOUNT_TABLE_H_
