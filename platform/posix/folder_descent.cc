#include "platform/posix/folder_descent.h"

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <utility>

#include "platform/posix/item_handle.h"
#include "platform/posix/mount_table.h"

namespace platform {

int FolderDescent::Identify(int fd, Identity* identity) const {
  struct stat status = {};
  if (::fstat(fd, &status) != 0) return errno;
  *identity = {.device = status.st_dev, .inode = status.st_ino};
  struct statx birth = {};
  if (hasBirthTimes_ &&
      ::statx(fd, "", AT_EMPTY_PATH | AT_STATX_DONT_SYNC, STATX_BTIME, &birth) == 0 &&
      (birth.stx_mask & STATX_BTIME) != 0) {
    identity->birthSeconds = birth.stx_btime.tv_sec;
    identity->birthNanoseconds = birth.stx_btime.tv_nsec;
  }
  return 0;
}

int FolderDescent::Begin(UniqueFd folder) {
  struct statfs fileSystem = {};
  hasBirthTimes_ =
      ::fstatfs(folder.Get(), &fileSystem) == 0 && fileSystem.f_type != OVERLAYFS_SUPER_MAGIC;
  Identity identity;
  int error = Identify(folder.Get(), &identity);
  if (error != 0) return error;
  error = GetMountId(folder.Get(), &mountId_);
  if (error != 0) return error;
  folder_ = std::move(folder);
  way_ = {identity};
  return 0;
}

int FolderDescent::OpenChild(const char* name, DirectoryStream* child) const {
  // Not opened for reading before its mount is known: a server behind another one might never
  // answer.
  UniqueFd handle;
  int error = OpenItemHandle(folder_.Get(), name, &handle);
  if (error != 0) return error;
  std::uint64_t mountId = 0;
  error = GetMountId(handle.Get(), &mountId);
  if (error != 0) return error;
  if (mountId != mountId_) return EBUSY;
  return child->Open(handle.Get(), ".");
}

int FolderDescent::Enter(const DirectoryStream& child) {
  if (way_.size() > kMaxDepth) return ENAMETOOLONG;
  // By its ".": without the right to search a folder there would be no way back out of it.
  UniqueFd folder;
  int error = OpenItemHandle(child.Fd(), ".", &folder);
  if (error != 0) return error;
  Identity identity;
  error = Identify(folder.Get(), &identity);
  if (error != 0) return error;
  folder_ = std::move(folder);
  way_.push_back(identity);
  return 0;
}

int FolderDescent::Leave() {
  UniqueFd parent;
  int error = OpenItemHandle(folder_.Get(), "..", &parent);
  if (error != 0) return error;
  Identity identity;
  error = Identify(parent.Get(), &identity);
  if (error != 0) return error;
  if (identity != way_[way_.size() - 2]) return ESTALE;
  folder_ = std::move(parent);
  way_.pop_back();
  return 0;
}

}  // namespace platform
