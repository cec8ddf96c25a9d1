#ifndef FILEUTILS_CREATE_DIRECTORY_H_
#define FILEUTILS_CREATE_DIRECTORY_H_

#include <string>

#include "log/api/abstract_logger.h"

namespace fileutils {

// Makes a folder and the missing ones above it. True also where it stands already
// or a link to a folder does; false where anything else is in the way. What was
// made is not removed again.
//
// With `shouldSetPermission` every folder that the call makes gets the mode 0775
// exactly, and the owner and group of the nearest ancestor that existed (not where
// that is a symbolic link); whether a failure to set them fails the call is for the
// platform to say (folder_creation.h). Otherwise they get the system's defaults.
//
// Messages of the component "FileUtils" (log_hooks.h): INFO with the ancestor found
// and its owner, ERROR on failure. `logger` may be null.
[[nodiscard]] bool CreateDirectory(const std::string& path, bool shouldSetPermission,
                                   dunmar::AbstractLogger* logger);

// The path itself where it exists, else the nearest of its ancestors that does. Ends
// for every text: an empty path has no ancestor and is returned as it is.
[[nodiscard]] std::string FindExistingAncestor(const std::string& path);

}  // namespace fileutils

#endif  // FILEUTILS_CREATE_DIRECTORY_H_
