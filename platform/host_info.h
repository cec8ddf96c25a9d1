#ifndef PLATFORM_HOST_INFO_H_
#define PLATFORM_HOST_INFO_H_

#include <cstdint>
#include <string>

namespace platform {

struct OperatingSystemVersion {
  std::int64_t major = 0;
  std::int64_t minor = 0;
  std::int64_t patch = 0;
};

// Facts about the machine and the running program.
class HostInfo {
 public:
  // operatingSystemVersion of NSProcessInfo, on systems without it the numbers
  // of Gestalt. False, `version` unchanged, where neither answers. POSIX half:
  // VERSION_ID of os-release, missing numbers 0; the kernel's release where that
  // is absent or no number.
  [[nodiscard]] virtual bool GetOperatingSystemVersion(OperatingSystemVersion* version) = 0;

  // executablePath of the main NSBundle: the file that runs.
  [[nodiscard]] virtual bool GetExecutablePath(std::string* path) = 0;

  // bundlePath of the main NSBundle: the folder of the executable, less a last
  // component "MacOS" and the one above it. "/X.app/Contents/MacOS/x" ->
  // "/X.app", "/bin/x" -> "/bin".
  [[nodiscard]] virtual bool GetBundlePath(std::string* path) = 0;

 protected:
  ~HostInfo() = default;
};

}  // namespace platform

#endif  // PLATFORM_HOST_INFO_H_
