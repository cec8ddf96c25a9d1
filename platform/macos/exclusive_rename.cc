#include "platform/exclusive_rename.h"

#include <cerrno>
#include <cstdio>

namespace platform {

int RenameExclusively(int folder, const char* from, const char* to) {
  return ::renameatx_np(folder, from, folder, to, RENAME_EXCL) == 0 ? 0 : errno;
}

}  // namespace platform
