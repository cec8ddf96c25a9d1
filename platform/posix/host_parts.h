#ifndef PLATFORM_POSIX_HOST_PARTS_H_
#define PLATFORM_POSIX_HOST_PARTS_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/host.h"

// The members of the real host, each in a file of its own, and the pure rules
// that they follow.

namespace platform {

[[nodiscard]] ConsoleUserSource& PosixConsoleUserSource();
[[nodiscard]] DirectoryLookup& PosixDirectoryLookup();
[[nodiscard]] HostInfo& PosixHostInfo();
[[nodiscard]] Desktop& PosixDesktop();

// Gives `folder` the icon that an icns file of these bytes holds, as
// `Desktop::SetFolderIcon` says.
[[nodiscard]] bool SetFolderImage(std::string_view icns, const std::string& folder);

// The numbers at the start of a version text: "12" -> 12.0.0, "22.04" ->
// 22.4.0, "6.1.0-18-amd64" -> 6.1.0. No value where it does not begin with a
// digit or a number does not fit.
[[nodiscard]] std::optional<OperatingSystemVersion> ParseVersion(std::string_view text);

// The value of VERSION_ID in the text of an os-release file (os-release(5)),
// quotes undone. No value without such a line.
[[nodiscard]] std::optional<std::string> FindVersionId(std::string_view osRelease);

// The environment's variables about languages; null where one is not set.
struct LocaleVariables {
  const char* language = nullptr;    // LANGUAGE
  const char* lcAll = nullptr;       // LC_ALL
  const char* lcMessages = nullptr;  // LC_MESSAGES
  const char* lang = nullptr;        // LANG
};

// The answers of `HostInfo::PreferredLanguages` and `HostInfo::CurrentLocaleIdentifier`.
[[nodiscard]] std::vector<std::string> LanguagesOf(const LocaleVariables& variables);
[[nodiscard]] std::string LocaleIdentifierOf(const LocaleVariables& variables);

// The bundle folder of an executable, as `HostInfo::GetBundlePath` says.
[[nodiscard]] std::string BundleOfExecutable(std::string_view executablePath);

}  // namespace platform

#endif  // PLATFORM_POSIX_HOST_PARTS_H_
