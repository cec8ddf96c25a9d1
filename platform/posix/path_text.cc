#include "platform/path_text.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/host.h"
#include "platform/item_query.h"
#include "platform/posix/normal_form.h"

namespace platform {

namespace {

// No path holds a NUL byte.
bool IsText(std::string_view text) { return text.find('\0') == std::string_view::npos; }

// Where the last name of a path in normal form begins.
std::size_t LastNameBegin(std::string_view normal) {
  return normal == "/" ? 0 : normal.rfind('/') + 1;
}

// Where the dot before the extension of a path in normal form stands, a last dot with nothing
// behind it included; npos without one.
std::size_t ExtensionDot(std::string_view normal) {
  const std::size_t begin = LastNameBegin(normal);
  const std::size_t dot = normal.rfind('.');
  if (dot == std::string_view::npos || dot <= begin) return std::string_view::npos;
  return normal.substr(begin) == ".." ? std::string_view::npos : dot;
}

std::vector<std::string_view> SplitNames(std::string_view normal) {
  std::vector<std::string_view> names;
  for (std::size_t begin = 0; begin < normal.size();) {
    const std::size_t end = std::min(normal.find('/', begin), normal.size());
    if (end > begin) names.push_back(normal.substr(begin, end - begin));
    begin = end + 1;
  }
  return names;
}

std::string ExpandTilde(std::string_view path) {
  std::string expanded(path);
  if (!path.starts_with('~')) return expanded;
  const std::size_t end = std::min(path.find('/'), path.size());
  const std::string user = expanded.substr(1, end - 1);
  DirectoryLookup& directories = *CurrentHost().directories;
  std::string home;
  if (user.empty()) {
    const std::optional<std::string> own = directories.HomeDirectory();
    if (!own) return expanded;
    home = *own;
  } else if (!directories.HomeDirectoryForUser(user, &home)) {
    return expanded;
  }
  return expanded.replace(0, end, home);
}

std::optional<std::string> RealPath(const std::string& path) {
  const std::unique_ptr<char, void (*)(void*)> real(::realpath(path.c_str(), nullptr), std::free);
  if (!real) return std::nullopt;
  return real.get();
}

// Without "." and "..", as far as the text alone allows: a relative path keeps its ".." and a "."
// that it begins with.
std::string RemoveDots(std::string_view normal) {
  const bool absolute = normal.starts_with('/');
  std::vector<std::string_view> kept;
  for (const std::string_view name : SplitNames(normal)) {
    if (absolute && name == "..") {
      if (!kept.empty()) kept.pop_back();
    } else if (name != "." || (!absolute && kept.empty())) {
      kept.push_back(name);
    }
  }
  std::string path = absolute ? "/" : "";
  for (std::size_t i = 0; i < kept.size(); ++i) {
    if (i > 0) path += '/';
    path += kept[i];
  }
  return path;
}

// Whether a path begins with a folder that macOS has at its root and in "/private" as two different
// things.
bool IsInOwnRootFolder(std::string_view absolute) {
  static constexpr std::string_view kFolders[] = {"Applications", "Library", "System", "Users",
                                                  "Volumes",      "bin",     "cores",  "dev",
                                                  "opt",          "private", "sbin",   "usr"};
  const std::string_view first = absolute.substr(1, absolute.find('/', 1) - 1);
  return std::find(std::begin(kFolders), std::end(kFolders), first) != std::end(kFolders);
}

// Takes off one of the prefixes that automounting and the folder "/private" put before a path.
std::string RemovePrivatePrefix(const std::string& path) {
  for (const std::string_view prefix : {"/private/var/automount", "/var/automount", "/private"}) {
    if (!path.starts_with(prefix)) continue;
    std::string rest = path.substr(prefix.size());
    if (!rest.starts_with('/') || (prefix == "/private" && IsInOwnRootFolder(rest))) continue;
    if (ItemExists(rest, nullptr)) return rest;
  }
  return path;
}

// The path in normal form less "." and "..": by the real parents where everything exists.
std::string WithoutDots(const std::string& normal) {
  const std::vector<std::string_view> names = SplitNames(normal);
  if (normal.starts_with('/') && std::find(names.begin(), names.end(), "..") != names.end()) {
    if (std::optional<std::string> real = RealPath(normal)) return *std::move(real);
  }
  return RemoveDots(normal);
}

}  // namespace

std::optional<std::string> AppendingPathComponent(std::string_view path,
                                                  std::string_view component) {
  if (!IsText(path) || !IsText(component)) return std::nullopt;
  if (path.empty()) return NormalForm(component);
  return NormalForm(std::string(path).append("/").append(component));
}

std::optional<std::string> LastPathComponent(std::string_view path) {
  if (!IsText(path)) return std::nullopt;
  const std::string normal = NormalForm(path);
  return normal.substr(LastNameBegin(normal));
}

std::optional<std::string> DeletingLastPathComponent(std::string_view path) {
  if (!IsText(path)) return std::nullopt;
  const std::string normal = NormalForm(path);
  const std::size_t slash = normal.rfind('/');
  if (slash == std::string::npos) return "";
  return normal.substr(0, std::max<std::size_t>(slash, 1));
}

std::optional<std::string> PathExtension(std::string_view path) {
  if (!IsText(path)) return std::nullopt;
  const std::string normal = NormalForm(path);
  const std::size_t dot = ExtensionDot(normal);
  return dot == std::string::npos ? "" : normal.substr(dot + 1);
}

std::optional<std::string> DeletingPathExtension(std::string_view path) {
  if (!IsText(path)) return std::nullopt;
  const std::string normal = NormalForm(path);
  return normal.substr(0, ExtensionDot(normal));
}

std::optional<std::string> AppendingPathExtension(std::string_view path,
                                                  std::string_view extension) {
  if (!IsText(path) || !IsText(extension) || extension.starts_with('/')) return std::nullopt;
  const std::string normal = NormalForm(path);
  if (normal.empty() || normal == "/") return std::nullopt;
  if (extension.empty()) return normal;
  return normal + "." + std::string(extension);
}

std::optional<std::string> StandardizingPath(std::string_view path) {
  if (!IsText(path)) return std::nullopt;
  const std::string plain = WithoutDots(NormalForm(ExpandTilde(path)));
  return plain.starts_with('/') ? RemovePrivatePrefix(plain) : plain;
}

std::optional<std::string> StandardizingProgramPath(std::string_view path) {
  if (!IsText(path)) return std::nullopt;
  return WithoutDots(NormalForm(path));
}

}  // namespace platform
