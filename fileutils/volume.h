#ifndef FILEUTILS_VOLUME_H_
#define FILEUTILS_VOLUME_H_

#include <string>

namespace fileutils {

// The mount point of the volume that holds `path`, or would hold it: of the nearest
// existing ancestor where the path does not exist yet. Links are followed. False,
// `mountPoint` unchanged, for a path that does not begin with "/" and where the
// system fails otherwise than by absence (ENOENT) or length (ENAMETOOLONG).
[[nodiscard]] bool GetVolumeRoot(const std::string& path, std::string& mountPoint);

}  // namespace fileutils

#endif  // FILEUTILS_VOLUME_H_
