#include "platform/symbolic_link.h"

#include <unistd.h>

#include "platform/path_walk.h"

namespace platform {

bool CreateSymbolicLink(const std::string& path, const std::string& destination) {
  if (destination.find('\0') != std::string::npos) return false;
  LocatedItem item;
  if (LocateItem(path, LastLink::kLeave, &item) != 0 || item.mustBeFolder) return false;
  return symlinkat(destination.c_str(), item.folder.Get(), item.name.c_str()) == 0;
}

}  // namespace platform
