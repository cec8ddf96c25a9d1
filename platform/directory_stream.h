#ifndef PLATFORM_DIRECTORY_STREAM_H_
#define PLATFORM_DIRECTORY_STREAM_H_

#include <dirent.h>
#include <memory>
#include <string>

#include "platform/unique_fd.h"

namespace platform {

// The entries of one open folder, "." and ".." left out.
class DirectoryStream {
 public:
  // Opens the entry `name` ("." for the folder itself) of `folder` for reading,
  // never through a link. Returns 0 or the error number (ELOOP or ENOTDIR: a
  // link or no folder).
  [[nodiscard]] int Open(int folder, const char* name);

  // The descriptor of the open folder, for the `...at` calls.
  [[nodiscard]] int Fd() const;

  // The next entry; `name` is null at the end. `type` is the entry's d_type,
  // DT_UNKNOWN where the file system does not tell. The text lives until the
  // next call. Returns 0 or the error number.
  [[nodiscard]] int Next(const char** name, unsigned char* type);

  // Starts again with the first entry.
  void Rewind();

 private:
  struct Closer {
    void operator()(DIR* stream) const { (void)closedir(stream); }
  };
  std::unique_ptr<DIR, Closer> stream_;
};

// Whether an entry that `DirectoryStream::Next` gave is a folder and no link to
// one; it is looked at where the file system did not tell.
[[nodiscard]] bool IsFolderEntry(int folder, const char* name, unsigned char type);

}  // namespace platform

#endif  // PLATFORM_DIRECTORY_STREAM_H_
