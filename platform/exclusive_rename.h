#ifndef PLATFORM_EXCLUSIVE_RENAME_H_
#define PLATFORM_EXCLUSIVE_RENAME_H_

namespace platform {

// Renames the entry `from` of an open directory to `to`, unless something has that name: rename(2)
// that never replaces. Returns 0 or the error number: EEXIST where the name is taken, by a dangling
// link too; EINVAL, ENOSYS or ENOTSUP where the kernel or the file system knows no such rename.
[[nodiscard]] int RenameExclusively(int folder, const char* from, const char* to);

}  // namespace platform

#endif  // PLATFORM_EXCLUSIVE_RENAME_H_
