#include "fileutils/copy_file.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include "fileutils/link_check.h"
#include "fileutils/link_removal.h"
#include "platform/checked_file.h"
#include "platform/file_data.h"
#include "platform/interrupted_call.h"
#include "platform/path_walk.h"
#include "platform/unique_fd.h"
#include "platform/write_all.h"

namespace fileutils {

namespace {

constexpr std::size_t kBlockBytes = 4096;

bool SetSize(int fd, off_t size) {
  return platform::RepeatInterrupted([&] { return ::ftruncate(fd, size); }) == 0;
}

// Copies an extent up to its end or that of the file. False after a failure and at
// the end of the file.
bool CopyExtent(int source, int destination, const platform::Extent& data) {
  if (::lseek(destination, data.begin, SEEK_SET) < 0) return false;
  std::array<char, kBlockBytes> block;
  for (off_t position = data.begin; position < data.end;) {
    const auto wanted = static_cast<std::size_t>(std::min<off_t>(kBlockBytes, data.end - position));
    const ssize_t got = platform::RepeatInterrupted(
        [&] { return ::pread(source, block.data(), wanted, position); });
    if (got <= 0) return false;
    const auto count = static_cast<std::size_t>(got);
    if (platform::WriteAll(destination, {block.data(), count}) != 0 || count < wanted) return false;
    position += got;
  }
  return true;
}

// Copies what the source holds up to `limit`. Failures are not reported: the first one ends the
// copy.
void CopyContent(int source, off_t limit, int destination) {
  struct stat status = {};
  platform::Extent data;
  off_t position = 0;
  for (;;) {
    // The size before the search: what is appended after it is no part of a hole.
    if (::fstat(source, &status) != 0) return;
    if (!platform::FindData(source, position, limit, &data)) break;
    if (!CopyExtent(source, destination, data)) return;
    position = data.end;
  }
  // A hole at the end, which no write reaches.
  const off_t end = std::min(status.st_size, limit);
  if (end > position) (void)SetSize(destination, end);
}

bool IsSameFile(int first, int second) {
  struct stat firstStatus = {};
  struct stat secondStatus = {};
  // Where the system does not tell, nothing may be cut off.
  if (::fstat(first, &firstStatus) != 0 || ::fstat(second, &secondStatus) != 0) return true;
  return firstStatus.st_dev == secondStatus.st_dev && firstStatus.st_ino == secondStatus.st_ino;
}

// Where a copy goes.
class Destination {
 public:
  // Finds the place, and removes a link from it unless that is skipped. False where the rules for
  // links refuse the place.
  [[nodiscard]] bool Prepare(const std::string& path, bool skipLinkCheck);
  // Copies an open file over the one in that place. False where this cannot be opened or is the
  // same.
  [[nodiscard]] bool Take(const platform::UniqueFd& source, off_t limit) const;

 private:
  platform::LocatedItem item_;
  platform::HardLinks hardLinks_ = platform::HardLinks::kAllow;
};

bool Destination::Prepare(const std::string& path, bool skipLinkCheck) {
  unsigned int links = kNoLinks;
  auto lastLink = platform::LastLink::kFollow;
  if (!skipLinkCheck) {
    links = CheckPathLinks(path, /*checkAncestors=*/true, /*checkHardLinks=*/true);
    lastLink = platform::LastLink::kLeave;
    hardLinks_ = platform::HardLinks::kRefuse;
  }
  if (links == kLinkedAncestor || links == kSeveralHardLinks) return false;
  return platform::LocateItem(path, lastLink, &item_) == 0 &&
         (links != kIsLink || RemoveLink(item_));
}

bool Destination::Take(const platform::UniqueFd& source, off_t limit) const {
  platform::UniqueFd output;
  if (platform::OpenFileForWriting(item_, hardLinks_, &output) != 0 ||
      IsSameFile(source.Get(), output.Get()) || !SetSize(output.Get(), 0)) {
    return false;
  }
  CopyContent(source.Get(), limit, output.Get());
  return true;
}

}  // namespace

bool CopyFile(const std::string& source, const std::string& destination, bool skipLinkCheck) {
  Destination place;
  platform::UniqueFd input;
  return place.Prepare(destination, skipLinkCheck) &&
         platform::OpenFileForReading(source, &input) == 0 && place.Take(input, platform::kNoEnd);
}

bool CopyOpenFile(const platform::UniqueFd& source, off_t size, const std::string& destination) {
  Destination place;
  return place.Prepare(destination, /*skipLinkCheck=*/false) && place.Take(source, size);
}

}  // namespace fileutils
