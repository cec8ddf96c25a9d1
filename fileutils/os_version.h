#ifndef FILEUTILS_OS_VERSION_H_
#define FILEUTILS_OS_VERSION_H_

namespace fileutils {

// The numbers of the running system's version, e.g. 14, 5, 0. Always true; the
// numbers are 0 where the system does not tell.
[[nodiscard]] bool GetOSVersion(unsigned int& major, unsigned int& minor, unsigned int& patch);

}  // namespace fileutils

#endif  // FILEUTILS_OS_VERSION_H_
