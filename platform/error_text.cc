#include "platform/error_text.h"

#include <string>
#include <system_error>

namespace platform {

std::string DescribeError(int error, const std::string& path) {
  return std::generic_category().message(error) + ": " + path;
}

}  // namespace platform
