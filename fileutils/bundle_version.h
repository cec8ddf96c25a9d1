#ifndef FILEUTILS_BUNDLE_VERSION_H_
#define FILEUTILS_BUNDLE_VERSION_H_

#include <string>

namespace fileutils {

// The short version of an application bundle, "CFBundleShortVersionString" of its
// Contents/Info.plist (platform/property_list.h). False, `version` unchanged, where
// there is no such file, dictionary or text.
[[nodiscard]] bool GetBundleVersion(std::string bundlePath, std::string& version);

}  // namespace fileutils

#endif  // FILEUTILS_BUNDLE_VERSION_H_
