#include "platform/directory_stream.h"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>

#include "platform/interrupted_call.h"
#include "platform/system_calls.h"
#include "platform/unique_fd.h"

namespace platform {

int DirectoryStream::Open(int folder, const char* name) {
  UniqueFd fd(RepeatInterrupted(
      [&] { return ::openat(folder, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC); }));
  if (!fd) return errno;
  DIR* const stream = ::fdopendir(fd.Get());
  if (stream == nullptr) return errno;
  (void)fd.Release();  // the stream's from now on
  stream_.reset(stream);
  return 0;
}

int DirectoryStream::Fd() const { return ::dirfd(stream_.get()); }

int DirectoryStream::Next(const char** name, unsigned char* type) {
  for (;;) {
    errno = 0;
    const dirent* const entry = ::readdir(stream_.get());
    if (entry == nullptr) {
      if (errno != 0) return errno;
      *name = nullptr;
      return 0;
    }
    const std::string_view found = entry->d_name;
    if (found == "." || found == "..") continue;
    *name = entry->d_name;
    *type = entry->d_type;
    return 0;
  }
}

void DirectoryStream::Rewind() { ::rewinddir(stream_.get()); }

bool IsFolderEntry(int folder, const char* name, unsigned char type) {
  if (type != DT_UNKNOWN) return type == DT_DIR;
  struct stat status = {};
  return Calls().fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
         S_ISDIR(status.st_mode);
}

}  // namespace platform
