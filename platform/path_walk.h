#ifndef PLATFORM_PATH_WALK_H_
#define PLATFORM_PATH_WALK_H_

#include <string>
#include <sys/types.h>

#include "platform/unique_fd.h"

// Walking a path from handle to handle, so that what was checked is what is
// used, and so that nobody who may write somewhere on the way can lead a
// privileged process elsewhere.
//
// The owner rule: a symbolic link is followed only if root or the effective
// user owns it, or if its owner also owns what it leads to (for a dangling
// link: the nearest existing folder above its target). Any other link makes
// the walk fail with EACCES.
//
// Paths are byte strings in the file system's encoding, absolute or relative
// to the working folder. An empty path gives ENOENT, a path that holds a NUL
// byte EINVAL.

namespace platform {

// The owner rule for one link, from numbers alone.
[[nodiscard]] bool MayFollowLink(uid_t effectiveUser, uid_t linkOwner, uid_t targetOwner);

// What to do with a symbolic link in the last place of a path.
enum class LastLink {
  kLeave,   // the link itself is what the path names
  kFollow,  // the path names what the link leads to, under the owner rule
};

// Where an item is, or would be.
struct LocatedItem {
  // Handle on the folder that holds the item, for the `...at` calls only.
  UniqueFd folder;
  // The item's name in `folder`: never empty, without "/". "." when the path
  // names the folder itself ("/", ".", "x/.", "x/..").
  std::string name;
  // The path ended in "/", "." or "..", and so can only name a folder.
  bool mustBeFolder = false;
  // A path that names the same item with no link left to follow in the last
  // place: the caller's text, or the text of the link that was followed
  // joined to the folder that held it. Links among its ancestors remain.
  std::string path;
};

// Finds the folder that holds the item of `path`. The item itself need not
// exist; every folder above it must. With `kFollow` a link in the last place,
// dangling or not, is replaced by its target, again and again.
//
// Returns 0, or the error number that the system's own resolution would give
// (ENOENT, ENOTDIR, ELOOP after 40 links, ENAMETOOLONG, EACCES), EACCES also
// for a link that the owner rule refuses. `item` is unchanged on failure.
[[nodiscard]] int LocateItem(const std::string& path, LastLink lastLink, LocatedItem* item);

// Opens the folder that `path` names, links followed under the owner rule, for
// the `...at` calls only. Returns 0 or the error number (ENOTDIR: not a
// folder); `folder` is unchanged on failure.
[[nodiscard]] int OpenFolder(const std::string& path, UniqueFd* folder);

// Opens the real folder at `path`, a link in the last place refused (ELOOP or
// ENOTDIR), with a descriptor that `fchown`, `fchmod` and `fsync` take as well.
// Links among the ancestors under the owner rule. Returns 0 or the error number
// (EACCES also where the folder may not be read); `folder` is unchanged on
// failure.
[[nodiscard]] int OpenFolderItself(const std::string& path, UniqueFd* folder);

// As `OpenFolderItself`, for a caller who goes on to set the folder's mode. An
// ordinary user may be unable to read a folder of his own, for one because the
// umask took that right when he made it; it gets the mode 0700 then, and is
// opened. Returns 0 or the error number; `folder` is unchanged on failure.
[[nodiscard]] int OpenOwnFolderItself(const std::string& path, UniqueFd* folder);

// `mkdir` under the owner rule: makes one folder, mode less umask. Returns 0
// or the error number (EEXIST: any item is there, a dangling link included).
[[nodiscard]] int MakeFolder(const std::string& path, mode_t mode);

}  // namespace platform

#endif  // PLATFORM_PATH_WALK_H_
