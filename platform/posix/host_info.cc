#include "platform/host_info.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <sys/auxv.h>
#include <sys/utsname.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

#include "platform/checked_file.h"
#include "platform/path_text.h"
#include "platform/posix/host_parts.h"
#include "platform/system_calls.h"

namespace platform {
namespace {

constexpr std::size_t kMaxOsReleaseBytes = std::size_t{64} * 1024;
constexpr std::size_t kFirstPathBytes = 256;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// The first word of the text, as a shell reads it.
std::string ReadWord(std::string_view text) {
  std::string word;
  char quote = '\0';  // the open one
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (quote != '\0' && c == quote) {
      quote = '\0';
    } else if (quote == '\0' && (c == '"' || c == '\'')) {
      quote = c;
    } else if (quote == '\0' && (c == ' ' || c == '\t')) {
      break;
    } else if (c == '\\' && quote != '\'' && i + 1 < text.size()) {
      ++i;
      // Between double quotes a backslash before an ordinary character stands for itself.
      if (quote == '"' && std::string_view("\"\\$`").find(text[i]) == std::string_view::npos) {
        word += c;
      }
      word += text[i];
    } else {
      word += c;
    }
  }
  return word;
}

std::optional<OperatingSystemVersion> ReadDistributionVersion() {
  std::string osRelease;
  if (ReadWholeFile("/etc/os-release", kMaxOsReleaseBytes, &osRelease) != 0 &&
      ReadWholeFile("/usr/lib/os-release", kMaxOsReleaseBytes, &osRelease) != 0) {
    return std::nullopt;
  }
  return ParseVersion(FindVersionId(osRelease).value_or(""));
}

std::optional<OperatingSystemVersion> ReadKernelVersion() {
  utsname names{};
  if (Calls().uname(&names) != 0) return std::nullopt;
  return ParseVersion(names.release);
}

// The running file. No value where /proc is not mounted.
std::optional<std::string> ReadExecutableLink() {
  std::string text(kFirstPathBytes, '\0');
  for (;;) {
    const ssize_t count = readlink("/proc/self/exe", text.data(), text.size());
    if (count < 0) return std::nullopt;
    const auto length = static_cast<std::size_t>(count);
    if (length < text.size()) return text.substr(0, length);
    text.resize(2 * text.size());  // It may have been cut.
  }
}

// The file that the kernel was asked to run.
std::optional<std::string> ResolveStartedPath() {
  const char* const started = std::bit_cast<const char*>(getauxval(AT_EXECFN));
  if (started == nullptr) return std::nullopt;
  const std::unique_ptr<char, decltype(&std::free)> path(realpath(started, nullptr), &std::free);
  if (path == nullptr) return std::nullopt;
  return path.get();
}

LocaleVariables ReadLocaleVariables() {
  return {.language = std::getenv("LANGUAGE"),
          .lcAll = std::getenv("LC_ALL"),
          .lcMessages = std::getenv("LC_MESSAGES"),
          .lang = std::getenv("LANG")};
}

std::string Parent(std::string_view path) { return DeletingLastPathComponent(path).value_or(""); }

class PosixInfo final : public HostInfo {
 public:
  bool GetOperatingSystemVersion(OperatingSystemVersion* version) override {
    std::optional<OperatingSystemVersion> found = ReadDistributionVersion();
    if (!found) found = ReadKernelVersion();
    if (!found) return false;
    *version = *found;
    return true;
  }

  bool HasMacOSVersionNumbers() override { return false; }

  std::vector<std::string> PreferredLanguages() override {
    return LanguagesOf(ReadLocaleVariables());
  }

  std::string CurrentLocaleIdentifier() override {
    return LocaleIdentifierOf(ReadLocaleVariables());
  }

  bool GetExecutablePath(std::string* path) override {
    std::optional<std::string> found = ReadExecutableLink();
    if (!found) found = ResolveStartedPath();
    if (!found) return false;
    *path = std::move(*found);
    return true;
  }

  bool GetBundlePath(std::string* path) override {
    std::string executable;
    if (!GetExecutablePath(&executable)) return false;
    *path = BundleOfExecutable(executable);
    return true;
  }
};

}  // namespace

std::optional<OperatingSystemVersion> ParseVersion(std::string_view text) {
  const char* next = text.data();
  const char* const end = next + text.size();
  if (next == end || !IsDigit(*next)) return std::nullopt;

  OperatingSystemVersion version;
  for (std::int64_t* number : {&version.major, &version.minor, &version.patch}) {
    if (next == end || !IsDigit(*next)) break;
    const auto [after, error] = std::from_chars(next, end, *number);
    if (error != std::errc()) return std::nullopt;
    if (after == end || *after != '.') break;
    next = after + 1;
  }
  return version;
}

std::optional<std::string> FindVersionId(std::string_view osRelease) {
  constexpr std::string_view kAssignment = "VERSION_ID=";
  std::optional<std::string> value;
  while (!osRelease.empty()) {
    const std::string_view line = osRelease.substr(0, osRelease.find('\n'));
    osRelease.remove_prefix(std::min(line.size() + 1, osRelease.size()));
    if (line.starts_with(kAssignment)) value = ReadWord(line.substr(kAssignment.size()));
  }
  return value;
}

std::string BundleOfExecutable(std::string_view executablePath) {
  std::string folder = Parent(executablePath);
  if (LastPathComponent(folder) == "MacOS") folder = Parent(Parent(folder));
  return folder;
}

HostInfo& PosixHostInfo() {
  static PosixInfo info;
  return info;
}

}  // namespace platform
