#include "platform/file_creation.h"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <utility>

#include "platform/directory_stream.h"
#include "platform/exclusive_rename.h"
#include "platform/interrupted_call.h"
#include "platform/system_calls.h"
#include "platform/temporary_name.h"

namespace platform {

namespace {

constexpr mode_t kEverybodyMode = 0666;

int CreateNamed(int folder, const std::string& name, int flags, UniqueFd* fd) {
  UniqueFd opened(RepeatInterrupted([&] {
    return ::openat(folder, name.c_str(), flags | O_CREAT | O_EXCL | O_CLOEXEC, kEverybodyMode);
  }));
  if (!opened) return errno;
  *fd = std::move(opened);
  return 0;
}

int SetEverybodyMode(const UniqueFd& fd) {
  const int result = RepeatInterrupted([&] { return Calls().fchmod(fd.Get(), kEverybodyMode); });
  return result == 0 ? 0 : errno;
}

// A killed creator leaves one file. Somebody may plant any number of such names, so the search and
// the removal both end.
constexpr int kMostEntriesSearched = 4096;
constexpr int kMostLeftoversRemoved = 16;

// Removes the temporary files of other creators. Dead ones need theirs no more, and living ones
// have lost the race by now: they open the file that is there.
void RemoveLeftovers(int folder, const std::string& prefix) {
  DirectoryStream entries;
  if (entries.Open(folder, ".") != 0) return;
  const char* name = nullptr;
  unsigned char type = 0;
  int removed = 0;
  for (int searched = 0; searched < kMostEntriesSearched && removed < kMostLeftoversRemoved;
       ++searched) {
    if (entries.Next(&name, &type) != 0 || name == nullptr) return;
    struct stat status = {};
    if (IsTemporaryName(prefix, name) &&
        ::fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(status.st_mode)) {
      (void)Calls().unlinkat(folder, name, 0);
      ++removed;
    }
  }
}

}  // namespace

int CreateFile(const LocatedItem& item, int flags, NewFileMode mode, UniqueFd* fd, int* modeError) {
  const int error = CreateNamed(item.folder.Get(), item.name, flags, fd);
  if (error != 0) return error;
  *modeError = mode == NewFileMode::kEverybody ? SetEverybodyMode(*fd) : 0;
  return 0;
}

// The umask stands between open(2) and the mode, and is the whole process's: other threads would
// make files under a changed one. So the mode is set before the name. Rename takes one name to the
// other in one step on both systems; a link would give the file two names for a moment, and whoever
// opens a log refuses one that has two. (A file without any name that is linked when it is ready
// exists on Linux alone, and not without /proc or a capability.)
int CreateFileForEverybody(const LocatedItem& item, int flags, UniqueFd* fd, int* modeError) {
  const int folder = item.folder.Get();
  const std::string prefix = "." + item.name + ".";
  std::string name;
  UniqueFd opened;
  if (MakeTemporaryName(prefix, &name) && CreateNamed(folder, name, flags, &opened) == 0) {
    const int setting = SetEverybodyMode(opened);
    const int error = RenameExclusively(folder, name.c_str(), item.name.c_str());
    if (error == 0) {
      RemoveLeftovers(folder, prefix);
      *fd = std::move(opened);
      *modeError = setting;
      return 0;
    }
    (void)Calls().unlinkat(folder, name.c_str(), 0);
    // Another creator was first, and has perhaps taken this file for a leftover.
    if (error == EEXIST || error == ENOENT) return EEXIST;
  }
  return CreateFile(item, flags, NewFileMode::kEverybody, fd, modeError);
}

}  // namespace platform
