#include "platform/desktop.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/checked_file.h"
#include "platform/interrupted_call.h"
#include "platform/path_walk.h"
#include "platform/posix/atomic_write_at.h"
#include "platform/posix/host_parts.h"
#include "platform/posix/icns.h"
#include "platform/system_calls.h"
#include "platform/unique_fd.h"

namespace platform {
namespace {

constexpr char kImageName[] = ".folder-icon.png";
constexpr char kEntryName[] = ".directory";
constexpr std::string_view kEntryText = "[Desktop Entry]\nIcon=./.folder-icon.png\n";

// What stands under a name of ours in a folder.
enum class Item { kMissing, kOurs, kForeign };

// A link counts as the image: it is what a rename puts the image over.
Item LookAtImage(int folder) {
  struct stat info {};
  if (fstatat(folder, kImageName, &info, AT_SYMLINK_NOFOLLOW) != 0) {
    return errno == ENOENT ? Item::kMissing : Item::kForeign;
  }
  return S_ISREG(info.st_mode) || S_ISLNK(info.st_mode) ? Item::kOurs : Item::kForeign;
}

// The desktop keeps other settings of the folder in this file too, so only the very bytes that
// are written here make it ours.
Item LookAtEntry(const LocatedItem& entry) {
  UniqueFd file;
  if (const int error = OpenFileForReading(entry, &file); error != 0) {
    return error == ENOENT ? Item::kMissing : Item::kForeign;
  }
  std::array<char, kEntryText.size() + 1> text;
  const ssize_t count =
      RepeatInterrupted([&] { return Calls().read(file.Get(), text.data(), text.size()); });
  if (count < 0) return Item::kForeign;
  return std::string_view(text.data(), static_cast<std::size_t>(count)) == kEntryText
             ? Item::kOurs
             : Item::kForeign;
}

// Removes the item if it is ours. True where nothing of ours is left.
bool RemoveOwn(int folder, const char* name, Item item) {
  return item != Item::kOurs || Calls().unlinkat(folder, name, 0) == 0 || errno == ENOENT;
}

bool SetIcon(const LocatedItem& entry, std::string_view png) {
  const Item oldEntry = LookAtEntry(entry);
  if (oldEntry == Item::kForeign) return false;
  const int folder = entry.folder.Get();
  const Item oldImage = LookAtImage(folder);
  if (!WriteFileAtomicallyAt(folder, kImageName, png)) return false;
  if (oldEntry == Item::kOurs || WriteFileAtomicallyAt(folder, kEntryName, kEntryText)) {
    return true;
  }
  if (oldImage == Item::kMissing) (void)Calls().unlinkat(folder, kImageName, 0);
  return false;
}

bool RemoveIcon(const LocatedItem& entry) {
  const int folder = entry.folder.Get();
  // In this order, so that no entry ever names a missing image.
  if (!RemoveOwn(folder, kEntryName, LookAtEntry(entry))) return false;
  const Item image = LookAtImage(folder);
  return image != Item::kForeign && RemoveOwn(folder, kImageName, image);
}

class FolderIcons final : public Desktop {
 public:
  bool SetFolderIcon(const std::string& iconFile, const std::string& folder) override {
    std::string content;
    if (ReadWholeFile(iconFile, kMaxIconFileBytes, &content) != 0) content.clear();
    return SetFolderImage(content, folder);
  }
};

}  // namespace

bool SetFolderImage(std::string_view icns, const std::string& folder) {
  const std::string_view png = FindLargestPng(icns);
  LocatedItem entry;
  if (OpenFolder(folder, &entry.folder) != 0) return false;
  entry.name = kEntryName;
  return png.empty() ? RemoveIcon(entry) : SetIcon(entry, png);
}

Desktop& PosixDesktop() {
  static FolderIcons icons;
  return icons;
}

}  // namespace platform
