#ifndef PLATFORM_POSIX_NORMAL_FORM_H_
#define PLATFORM_POSIX_NORMAL_FORM_H_

#include <string>
#include <string_view>

namespace platform {

// The normal form of path_text.h: "//a//b/" -> "/a/b", "//" -> "/". "." and ".."
// are ordinary names.
[[nodiscard]] std::string NormalForm(std::string_view path);

}  // namespace platform

#endif  // PLATFORM_POSIX_NORMAL_FORM_H_
