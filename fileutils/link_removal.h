#ifndef FILEUTILS_LINK_REMOVAL_H_
#define FILEUTILS_LINK_REMOVAL_H_

#include "platform/path_walk.h"

namespace fileutils {

// Removes the item if it is a symbolic link, dangling or not, in the folder where it was found and
// not by its path, which may lead elsewhere by now. False where the link could not be removed.
[[nodiscard]] bool RemoveLink(const platform::LocatedItem& item);

}  // namespace fileutils

#endif  // FILEUTILS_LINK_REMOVAL_H_
