#include "fileutils/paths.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "platform/system_calls.h"

namespace fileutils {

bool AppendPathComponent(std::string& path, std::string_view component) {
  if (path.empty() || component.empty()) return false;
  // Copied before the path changes, which the component may be part of.
  const std::string rest(
      component.substr(std::min(component.find_first_not_of('/'), component.size())));
  if (path.back() != '/') path += '/';
  path += rest;
  return true;
}

bool GetParentPath(std::string& path) {
  if (path.empty()) return false;
  std::string copy = path;
  const char* const parent = platform::Calls().dirname(copy.data());
  if (parent == nullptr) return false;
  path = parent;
  // The C libraries disagree about "//"; one text for the top lets upward walks end.
  if (path.find_first_not_of('/') == std::string::npos) path = "/";
  return true;
}

bool GetPathExtension(const std::string& path, std::string& extension) {
  const std::size_t dot = path.rfind('.');
  if (dot == std::string::npos) return false;
  extension = path.substr(dot + 1);
  return true;
}

bool GetFileName(const std::string& path, std::string& name) {
  std::string copy = path;
  name.clear();
  const char* const base = platform::Calls().basename(copy.data());
  if (base == nullptr) return false;
  name = base;
  return true;
}

}  // namespace fileutils
