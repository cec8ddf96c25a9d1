#ifndef PLATFORM_HOST_INFO_H_
#define PLATFORM_HOST_INFO_H_

#include <cstdint>
#include <string>
#include <vector>

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

  // Whether the numbers of `GetOperatingSystemVersion` count releases of macOS, so that rules about
  // those may be applied to them. The macOS half: true. The POSIX half: false.
  [[nodiscard]] virtual bool HasMacOSVersionNumbers() = 0;

  // preferredLanguages of NSLocale: the user's languages as BCP 47 tags, the preferred one first,
  // e.g. "en-GB", "zh-Hans-CN", "fr". May be empty.
  //
  // POSIX half: the entries of LANGUAGE, or else the first of LC_ALL, LC_MESSAGES and LANG that is
  // set and not empty: the codeset is cut off, "_" becomes "-", the modifier "@latin" the script
  // "Latn", other modifiers go ("sr_RS.UTF-8@latin" -> "sr-Latn-RS"). "C" and "POSIX" are no
  // languages, and where that first of the three is one of them, LANGUAGE does not count (the rule
  // of GNU gettext).
  [[nodiscard]] virtual std::vector<std::string> PreferredLanguages() = 0;

  // localeIdentifier of the current NSLocale: "en_US", "zh-Hans_HK". POSIX half: from that first of
  // LC_ALL, LC_MESSAGES and LANG, by the same rules, but with "_" before the region
  // ("sr-Latn_RS"); empty for "C", "POSIX" and where none is set.
  [[nodiscard]] virtual std::string CurrentLocaleIdentifier() = 0;

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
