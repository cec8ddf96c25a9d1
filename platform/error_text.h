#ifndef PLATFORM_ERROR_TEXT_H_
#define PLATFORM_ERROR_TEXT_H_

#include <string>

namespace platform {

// The text of a system error number and what it befell, for people:
// (ENOENT, "/a/b") -> "No such file or directory: /a/b".
[[nodiscard]] std::string DescribeError(int error, const std::string& path);

}  // namespace platform

#endif  // PLATFORM_ERROR_TEXT_H_
