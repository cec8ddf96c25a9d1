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

// Failures are not reported: the first one ends the copy.
void CopyContent(int source, int destination) {
  struct stat status = {};
  platform::Extent data;
  for (;;) {
    // The size before the search: what is appended after it is no part of a hole.
    if (::fstat(source, &status) != 0) return;
    if (!platform::FindData(source, data.end, &data)) break;
    if (!CopyExtent(source, destination, data)) return;
  }
  // A hole at the end, which no write reaches.
  if (status.st_size > data.end) (void)SetSize(destination, status.st_size);
}

bool IsSameFile(int first, int second) {
  struct stat firstStatus = {};
  struct stat secondStatus = {};
  // Where the system does not tell, nothing may be cut off.
  if (::fstat(first, &firstStatus) != 0 || ::fstat(second, &secondStatus) != 0) return true;
  return firstStatus.st_dev == secondStatus.st_dev && firstStatus.st_ino == secondStatus.st_ino;
}

}  // namespace

bool CopyFile(const std::string& source, const std::string& destination, bool skipLinkCheck) {
  unsigned int links = kNoLinks;
  auto lastLink = platform::LastLink::kFollow;
  auto hardLinks = platform::HardLinks::kAllow;
  if (!skipLinkCheck) {
    links = CheckPathLinks(destination, /*checkAncestors=*/true, /*checkHardLinks=*/true);
    lastLink = platform::LastLink::kLeave;
    hardLinks = platform::HardLinks::kRefuse;
  }
  if (links == kLinkedAncestor || links == kSeveralHardLinks) return false;
  platform::LocatedItem item;
  if (platform::LocateItem(destination, lastLink, &item) != 0) return false;
  if (links == kIsLink && !RemoveLink(item)) return false;
  platform::UniqueFd input;
  if (platform::OpenFileForReading(source, &input) != 0) return false;
  platform::UniqueFd output;
  if (platform::OpenFileForWriting(item, hardLinks, &output) != 0) return false;
  if (IsSameFile(input.Get(), output.Get()) || !SetSize(output.Get(), 0)) return false;
  CopyContent(input.Get(), output.Get());
  return true;
}

}  // namespace fileutils
