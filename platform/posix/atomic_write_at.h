#ifndef PLATFORM_POSIX_ATOMIC_WRITE_AT_H_
#define PLATFORM_POSIX_ATOMIC_WRITE_AT_H_

#include <string>
#include <string_view>

namespace platform {

// `WriteFileAtomically` for the entry `name` of the open folder `folder`.
[[nodiscard]] bool WriteFileAtomicallyAt(int folder, const std::string& name,
                                         std::string_view content);

}  // namespace platform

#endif  // PLATFORM_POSIX_ATOMIC_WRITE_AT_H_
