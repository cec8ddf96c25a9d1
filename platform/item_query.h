#ifndef PLATFORM_ITEM_QUERY_H_
#define PLATFORM_ITEM_QUERY_H_

#include <cstdint>
#include <string>

namespace platform {

// fileExistsAtPath:isDirectory: of NSFileManager. True for an item of any
// kind; links are followed as `stat` does, so a dangling one does not exist.
// Any failure to look is false. `isFolder` may be null; it is written only
// when the item exists. A leading "~" is an ordinary name.
[[nodiscard]] bool ItemExists(const std::string& path, bool* isFolder);

// attributesOfItemAtPath:error: and its fileSize. Bytes, of the item itself: for
// a link the length of its text. False, `size` unchanged, where it cannot be
// examined.
[[nodiscard]] bool GetItemSize(const std::string& path, std::uint64_t* size);

}  // namespace platform

#endif  // PLATFORM_ITEM_QUERY_H_
