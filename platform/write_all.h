#ifndef PLATFORM_WRITE_ALL_H_
#define PLATFORM_WRITE_ALL_H_

#include <string_view>

namespace platform {

// Writes all the bytes, in as many `write` calls as the system makes of it, through signals.
// Returns 0 or the error number; some bytes may be written then. EIO where the system takes none
// and gives no reason.
[[nodiscard]] int WriteAll(int fd, std::string_view bytes);

}  // namespace platform

#endif  // PLATFORM_WRITE_ALL_H_
