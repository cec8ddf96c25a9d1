#ifndef PLATFORM_POSIX_ITEM_HANDLE_H_
#define PLATFORM_POSIX_ITEM_HANDLE_H_

#include "platform/unique_fd.h"

namespace platform {

// The handle of `ExamineItem` alone. Returns 0 or the error number; `handle` is unchanged on
// failure.
[[nodiscard]] int OpenItemHandle(int folder, const char* name, UniqueFd* handle);

}  // namespace platform

#endif  // PLATFORM_POSIX_ITEM_HANDLE_H_
