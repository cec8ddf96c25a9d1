#include "log/rollover.h"

#include <array>
#include <cstddef>
#include <sys/types.h>
#include <unistd.h>

#include "fileutils/foundation_paths.h"
#include "fileutils/paths.h"
#include "log/local_time.h"
#include "platform/checked_file.h"
#include "platform/fopen_access.h"
#include "platform/interrupted_call.h"
#include "platform/unique_fd.h"

namespace dunmar {

namespace {

constexpr std::uint64_t kMebibyte = 1048576;
// One more than the word has: what comes after it decides.
constexpr std::size_t kMarkerBytes = 9;

}  // namespace

std::uint64_t SizeLimit(LogLevel threshold) {
  if (threshold == kTrace) return 50 * kMebibyte;
  if (threshold == kDebug) return 20 * kMebibyte;
  return 15 * kMebibyte;
}

bool IsCheckDue(std::int64_t lastRecordTime, std::int64_t lastCheckTime) {
  // Unsigned: the difference of two far times is no 64-bit number with a sign.
  const std::uint64_t difference =
      static_cast<std::uint64_t>(lastRecordTime) - static_cast<std::uint64_t>(lastCheckTime);
  return lastRecordTime > lastCheckTime && difference >= std::uint64_t{kRolloverCheckSeconds};
}

std::string MakeBackupName(const std::string& path) {
  return MakeBackupName(path, GetDateTimeText());
}

std::string MakeBackupName(const std::string& path, const std::string& dateTimeText) {
  std::string name = path;
  (void)fileutils::RemovePathExtension(name);
  name += " " + dateTimeText;
  std::string extension;
  (void)fileutils::GetPathExtension(path, extension);
  (void)fileutils::AppendPathExtension(name, extension);
  return name;
}

std::string KeepLogsMarkerPath(const std::string& filePath) {
  return filePath.substr(0, filePath.rfind('/')) + "//kobb.trace";
}

std::string ReadKeepLogsMarker(const std::string& markerPath) {
  platform::UniqueFd fd;
  if (platform::OpenExistingFile(markerPath, platform::AccessOfReadWritePlus(), &fd) != 0) {
    return {};
  }
  std::array<char, kMarkerBytes> bytes;
  std::size_t count = 0;
  while (count < bytes.size()) {
    const ssize_t got = platform::RepeatInterrupted(
        [&] { return ::read(fd.Get(), bytes.data() + count, bytes.size() - count); });
    if (got <= 0) break;
    count += static_cast<std::size_t>(got);
  }
  return std::string(bytes.data(), count);
}

bool SaysKeepLogs(std::string_view firstBytes) {
  return firstBytes.substr(0, firstBytes.find('\0')) == "keeplogs";
}

}  // namespace dunmar
