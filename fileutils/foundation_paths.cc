#include "fileutils/foundation_paths.h"

#include <optional>
#include <string>
#include <utility>

#include "platform/path_text.h"

namespace fileutils {

namespace {

bool Assign(std::optional<std::string> made, std::string& path) {
  if (!made) return false;
  path = *std::move(made);
  return true;
}

}  // namespace

bool JoinPathComponent(std::string& path, const std::string& component) {
  return Assign(platform::AppendingPathComponent(path, component), path);
}

bool RemoveLastPathComponent(std::string& path) {
  return Assign(platform::DeletingLastPathComponent(path), path);
}

bool ReplacePathExtension(std::string& path, const std::string& newExtension) {
  const std::optional<std::string> stem = platform::DeletingPathExtension(path);
  return stem && Assign(platform::AppendingPathExtension(*stem, newExtension), path);
}

bool AppendPathExtension(std::string& path, const std::string& extension) {
  return Assign(platform::AppendingPathExtension(path, extension), path);
}

bool RemovePathExtension(std::string& path) {
  return Assign(platform::DeletingPathExtension(path), path);
}

bool IsBareName(const std::string& path) { return platform::LastPathComponent(path) == path; }

}  // namespace fileutils
