#include "log/log_file.h"

#include <cstdio>
#include <cstring>
#include <optional>
#include <sys/stat.h>
#include <utility>

#include "fileutils/copy_file.h"
#include "fileutils/link_check.h"
#include "fileutils/link_removal.h"
#include "platform/checked_file.h"
#include "platform/interrupted_call.h"
#include "platform/path_walk.h"
#include "platform/system_calls.h"
#include "platform/unique_fd.h"

namespace dunmar {

namespace {

// Where the log file is or would be; nothing where the way there is closed.
using Place = std::optional<platform::LocatedItem>;

Place Locate(const std::string& path) {
  platform::LocatedItem item;
  if (platform::LocateItem(path, platform::LastLink::kLeave, &item) != 0) return std::nullopt;
  return item;
}

// Decides by the link check whether the file may be opened, and removes a link from its place.
// Whatever takes that place afterwards meets the checks of the opening.
bool ClearPlace(const std::string& path, const Place& place) {
  const unsigned int links =
      fileutils::CheckPathLinks(path, /*checkAncestors=*/false, /*checkHardLinks=*/true);
  if (links == fileutils::kIsLink) return place && fileutils::RemoveLink(*place);
  return links == fileutils::kNoLinks;
}

platform::UniqueFd OpenToAppend(const Place& place) {
  platform::UniqueFd fd;
  int modeError = 0;
  if (place && platform::OpenFileForAppending(*place, &fd, &modeError) == 0 && modeError != 0) {
    (void)std::fprintf(stderr, "\n Error Set File permissions. errno = %s",
                       std::strerror(modeError));
  }
  return fd;
}

// Whether both descriptors are on one file, which has one name. `status` is the file's then.
bool AreOnOneFile(const platform::UniqueFd& first, const platform::UniqueFd& second,
                  struct stat* status) {
  struct stat ofSecond = {};
  return platform::Calls().fstat(second.Get(), &ofSecond) == 0 &&
         platform::Calls().fstat(first.Get(), status) == 0 && status->st_dev == ofSecond.st_dev &&
         status->st_ino == ofSecond.st_ino && status->st_nlink == 1;
}

platform::UniqueFd OpenAndCut(const Place& place, const platform::UniqueFd& file) {
  platform::UniqueFd fd;
  struct stat status = {};
  if (!place || platform::OpenFileForWriting(*place, platform::HardLinks::kRefuse, &fd) != 0 ||
      platform::Calls().fstat(fd.Get(), &status) != 0) {
    return {};
  }
  // Also the one that was made just now.
  if (status.st_size == 0) return fd;
  if (!AreOnOneFile(fd, file, &status) ||
      platform::RepeatInterrupted([&] { return platform::Calls().ftruncate(fd.Get(), 0); }) != 0) {
    return {};
  }
  return fd;
}

}  // namespace

bool OpenLogFile(const std::string& path, FileStream& stream) {
  const Place place = Locate(path);
  if (!ClearPlace(path, place)) return false;
  if (stream.is_open()) stream.close();
  stream.open(OpenToAppend(place));
  return !stream.fail();
}

bool CopyLogFile(const std::string& path, const platform::UniqueFd& file,
                 const std::string& destination) {
  const Place place = Locate(path);
  platform::UniqueFd source;
  struct stat status = {};
  return place && platform::OpenFileForReading(*place, &source) == 0 &&
         AreOnOneFile(source, file, &status) &&
         fileutils::CopyOpenFile(source, status.st_size, destination);
}

bool TruncateLogFile(const std::string& path, const platform::UniqueFd& file, FileStream& stream) {
  if (stream.is_open()) stream.close();
  const Place place = Locate(path);
  if (!ClearPlace(path, place)) return false;
  stream.open(OpenAndCut(place, file));
  if (stream.fail()) return false;
  stream.close();
  return true;
}

}  // namespace dunmar
