#ifndef PLATFORM_FOLDER_CREATION_H_
#define PLATFORM_FOLDER_CREATION_H_

#include <optional>
#include <string>
#include <sys/types.h>

namespace platform {

// What every folder that a creation makes is given. What is absent is left to
// the system.
struct FolderAttributes {
  std::optional<uid_t> owner;
  std::optional<gid_t> group;
  std::optional<mode_t> mode;  // exactly, not less the umask
  // Owner and group count only as long as the creation goes on below folders that have both of
  // them or were made by it, from the one in which it begins: for a caller who read them there and
  // does not want to hand out a folder in one that has been put in its place since. POSIX half; the
  // macOS half leaves that to NSFileManager.
  bool onlyBelowSameOwner = false;
};

// createDirectoryAtPath:withIntermediateDirectories:attributes:error: of
// NSFileManager with intermediates YES.
//
// True where the folder stands at the end: made now (mode 0777 less umask
// where `attributes` is null), made by another process meanwhile, there before
// (and then left as it is), or behind a link to a folder. False where anything
// else is in the way, a dangling link included; folders already made are kept.
// `attributes` reach every folder made by this call and no older one. On failure
// `errorText` (may be null) gets a description.
//
// POSIX half: from handle to handle, links among the ancestors under the owner
// rule of path_walk.h; attributes are set on handles of folders that are still
// the ones made here, and a failure to set them does not fail the call. macOS
// half: NSFileManager's own way.
[[nodiscard]] bool CreateFolder(const std::string& path, const FolderAttributes* attributes,
                                std::string* errorText);

}  // namespace platform

#endif  // PLATFORM_FOLDER_CREATION_H_
