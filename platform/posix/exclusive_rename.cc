#include "platform/exclusive_rename.h"

#include <cerrno>
#include <cstdio>

namespace platform {

int RenameExclusively(int folder, const char* from, const char* to) {
  return ::renameat2(folder, from, folder, to, RENAME_NOREPLACE) == 0 ? 0 : errno;
}

}  // namespace platform
