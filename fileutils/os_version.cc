#include "fileutils/os_version.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "platform/host.h"
#include "platform/host_info.h"

namespace fileutils {

namespace {

unsigned int ToUnsigned(std::int64_t number) {
  return static_cast<unsigned int>(
      std::clamp<std::int64_t>(number, 0, std::numeric_limits<unsigned int>::max()));
}

}  // namespace

bool GetOSVersion(unsigned int& major, unsigned int& minor, unsigned int& patch) {
  platform::OperatingSystemVersion version;
  // Where the system does not tell, the zeros stay.
  (void)platform::CurrentHost().info->GetOperatingSystemVersion(&version);
  major = ToUnsigned(version.major);
  minor = ToUnsigned(version.minor);
  patch = ToUnsigned(version.patch);
  return true;
}

}  // namespace fileutils
