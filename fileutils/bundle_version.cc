#include "fileutils/bundle_version.h"

#include <string>

#include "fileutils/items.h"
#include "fileutils/paths.h"
#include "platform/property_list.h"

namespace fileutils {

bool GetBundleVersion(std::string bundlePath, std::string& version) {
  return AppendPathComponent(bundlePath, "/Contents/Info.plist") && PathExists(bundlePath) &&
         platform::ReadPropertyListString(bundlePath, "CFBundleShortVersionString", &version);
}

}  // namespace fileutils
