#ifndef PLATFORM_PROPERTY_LIST_H_
#define PLATFORM_PROPERTY_LIST_H_

#include <cstddef>
#include <string>

namespace platform {

// The size of the largest property list that is read.
inline constexpr std::size_t kMaxPropertyListBytes = std::size_t{16} << 20;

// Finds the text under `key` in the dictionary at the root of the property list `path`. (On macOS:
// propertyListWithData:options:format:error: of NSPropertyListSerialization.) False, `value`
// unchanged, where there is no such file, no dictionary in it, no such key, or the value is not a
// string.
//
// The list is in a regular file of at most `kMaxPropertyListBytes`; links are followed under the
// owner rule of path_walk.h.
//
// POSIX half: XML (of at most 32,768 tags and attributes) and binary lists. Only what leads to the
// value is looked at (posix/xml_property_list.h, posix/binary_property_list.h). A value is UTF-8:
// one with other bytes counts as none.
[[nodiscard]] bool ReadPropertyListString(const std::string& path, const std::string& key,
                                          std::string* value);

}  // namespace platform

#endif  // PLATFORM_PROPERTY_LIST_H_
