#ifndef PLATFORM_SYMBOLIC_LINK_H_
#define PLATFORM_SYMBOLIC_LINK_H_

#include <string>

namespace platform {

// createSymbolicLinkAtPath:withDestinationPath:error: of NSFileManager: makes a
// link at `path` whose text is exactly `destination`, which need not exist.
// False where anything is at `path` already, a dangling link included (it is
// left alone), or where the folder above is missing or not writable. The POSIX
// half follows links among the ancestors under the owner rule of path_walk.h.
[[nodiscard]] bool CreateSymbolicLink(const std::string& path, const std::string& destination);

}  // namespace platform

#endif  // PLATFORM_SYMBOLIC_LINK_H_
