#include "platform/folder_creation.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "platform/directory_stream.h"
#include "platform/error_text.h"
#include "platform/interrupted_call.h"
#include "platform/item_query.h"
#include "platform/path_walk.h"
#include "platform/posix/item_handle.h"
#include "platform/system_calls.h"
#include "platform/unique_fd.h"

namespace platform {

namespace {

constexpr mode_t kPermissionBits = 0777;

// The deepest folder above the item of `path` that exists; the path's first `length` bytes name it.
int OpenDeepestFolder(const std::string& path, UniqueFd* folder, std::size_t* length) {
  std::size_t end = path.size();
  int error = ENOENT;
  do {
    while (end > 0 && path[end - 1] == '/') --end;
    while (end > 0 && path[end - 1] != '/') --end;
    error = OpenFolder(end == 0 ? "." : path.substr(0, end), folder);
  } while (error == ENOENT && end > 0);
  if (error == 0) *length = end;
  return error;
}

bool IsEmptyFolderOf(uid_t owner, DirectoryStream* folder) {
  struct stat status = {};
  const char* entry = nullptr;
  unsigned char type = 0;
  return ::fstat(folder->Fd(), &status) == 0 && status.st_uid == owner &&
         folder->Next(&entry, &type) == 0 && entry == nullptr;
}

// Enters a folder that was just made and gives it its attributes, as far as they can be had. Does
// neither where whoever may write to `parent` has put another folder in its place, maybe one that
// was not his to change: only an empty one of our own is taken for the new one.
void EnterNewFolder(const FolderAttributes& attributes, int parent, const char* name,
                    UniqueFd* entered) {
  DirectoryStream folder;
  int error = folder.Open(parent, name);
  // The umask may have kept an ordinary user out of his own folder. His right to change modes ends
  // at what is his, so that this can do no harm, and it follows no link.
  if (error == EACCES && attributes.mode &&
      Calls().fchmodat(parent, name, *attributes.mode, AT_SYMLINK_NOFOLLOW) == 0) {
    error = folder.Open(parent, name);
  }
  if (error != 0 || !IsEmptyFolderOf(::geteuid(), &folder)) return;
  if (attributes.mode) (void)Calls().fchmod(folder.Fd(), *attributes.mode);
  // One by one: an ordinary user may choose among his groups, but not give a folder away.
  constexpr gid_t kSameGroup = static_cast<gid_t>(-1);
  constexpr uid_t kSameOwner = static_cast<uid_t>(-1);
  if (attributes.owner) (void)Calls().fchown(folder.Fd(), *attributes.owner, kSameGroup);
  if (attributes.group) (void)Calls().fchown(folder.Fd(), kSameOwner, *attributes.group);
  (void)OpenItemHandle(folder.Fd(), ".", entered);
}

// Gives up owner and group for all that is still to be made where they must be those of `folder`
// and are not.
void KeepToOwner(int folder, FolderAttributes* attributes) {
  if (!attributes->onlyBelowSameOwner) return;
  struct stat status = {};
  if (::fstat(folder, &status) == 0 && attributes->owner == status.st_uid &&
      attributes->group == status.st_gid) {
    return;
  }
  attributes->owner.reset();
  attributes->group.reset();
}

// Goes from `folder` to the folder `name` in it, made where it is missing. `path` leads there too.
int MakeAndEnter(const std::string& name, const std::string& path,
                 std::optional<FolderAttributes>* attributes, UniqueFd* folder) {
  // Never more open than asked for, not even for a moment.
  const mode_t mode =
      *attributes && (*attributes)->mode ? *(*attributes)->mode & kPermissionBits : kPermissionBits;
  UniqueFd next;
  if (Calls().mkdirat(folder->Get(), name.c_str(), mode) == 0) {
    if (*attributes) EnterNewFolder(**attributes, folder->Get(), name.c_str(), &next);
  } else if (errno != EEXIST) {
    return errno;
  }
  if (!next) {
    next.Reset(RepeatInterrupted([&] {
      return ::openat(folder->Get(), name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    }));
    // Maybe a link to a folder.
    if (!next && OpenFolder(path, &next) != 0) return EEXIST;
    if (*attributes) KeepToOwner(next.Get(), &**attributes);
  }
  *folder = std::move(next);
  return 0;
}

int MakeMissingFolders(const std::string& path, std::optional<FolderAttributes> attributes) {
  if (path.empty()) return ENOENT;
  if (path.find('\0') != std::string::npos) return EINVAL;
  UniqueFd folder;
  std::size_t begin = 0;
  int error = OpenDeepestFolder(path, &folder, &begin);
  if (error == 0 && attributes) KeepToOwner(folder.Get(), &*attributes);
  while (error == 0 && begin < path.size()) {
    const std::size_t end = std::min(path.find('/', begin), path.size());
    if (end > begin) {
      error =
          MakeAndEnter(path.substr(begin, end - begin), path.substr(0, end), &attributes, &folder);
    }
    begin = end + 1;
  }
  return error;
}

}  // namespace

bool CreateFolder(const std::string& path, const FolderAttributes* attributes,
                  std::string* errorText) {
  bool isFolder = false;
  if (ItemExists(path, &isFolder) && isFolder) return true;
  std::optional<FolderAttributes> granted;
  if (attributes != nullptr) granted = *attributes;
  const int error = MakeMissingFolders(path, granted);
  if (error != 0 && errorText != nullptr) *errorText = DescribeError(error, path);
  return error == 0;
}

}  // namespace platform
