#ifndef PLATFORM_POSIX_FOLDER_DESCENT_H_
#define PLATFORM_POSIX_FOLDER_DESCENT_H_

#include <cstddef>
#include <cstdint>
#include <sys/types.h>
#include <vector>

#include "platform/directory_stream.h"
#include "platform/unique_fd.h"

namespace platform {

// Where a walk through a tree of folders is. It holds one descriptor whatever the
// depth; it never goes through a link, never into another mount, and on
// the way back never to a folder that it did not come through.
//
// All operations return 0 or the error number.
class FolderDescent {
 public:
  // Deeper than any path is long. Without an end somebody could hang one folder below another for
  // as long as the walk goes on.
  static constexpr std::size_t kMaxDepth = 4096;

  // Begins in an open folder (any handle serves).
  [[nodiscard]] int Begin(UniqueFd folder);

  // The folder where the walk is, for the `...at` calls.
  [[nodiscard]] int Fd() const { return folder_.Get(); }

  // Opens a folder in the current one for reading. ENOTDIR or ELOOP: no folder;
  // EBUSY: another mount.
  [[nodiscard]] int OpenChild(const char* name, DirectoryStream* child) const;

  // Goes into a folder that `OpenChild` opened. ENAMETOOLONG: deeper than `kMaxDepth`.
  [[nodiscard]] int Enter(const DirectoryStream& child);

  // Goes back to the folder where `Enter` was called. ESTALE: the current one
  // has been moved elsewhere meanwhile.
  [[nodiscard]] int Leave();

 private:
  // The number of a folder that is gone may at once be another's; the time of birth tells them
  // apart where the file system knows it.
  struct Identity {
    dev_t device = 0;
    ino_t inode = 0;
    std::int64_t birthSeconds = 0;
    std::uint32_t birthNanoseconds = 0;
    bool operator==(const Identity&) const = default;
  };
  [[nodiscard]] int Identify(int fd, Identity* identity) const;

  UniqueFd folder_;
  std::uint64_t mountId_ = 0;
  // Not on an overlay: there a folder is born again when the first change below it copies it up.
  bool hasBirthTimes_ = false;
  std::vector<Identity> way_;  // every folder from the first to the current one
};

}  // namespace platform

#endif  // PLATFORM_POSIX_FOLDER_DESCENT_H_
