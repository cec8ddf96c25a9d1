#include "platform/posix/normal_form.h"

#include <string>
#include <string_view>

namespace platform {

std::string NormalForm(std::string_view path) {
  std::string normal;
  normal.reserve(path.size());
  for (const char c : path) {
    if (c != '/' || !normal.ends_with('/')) normal += c;
  }
  if (normal.size() > 1 && normal.ends_with('/')) normal.pop_back();
  return normal;
}

}  // namespace platform
