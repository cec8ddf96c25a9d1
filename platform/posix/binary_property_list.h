#ifndef PLATFORM_POSIX_BINARY_PROPERTY_LIST_H_
#define PLATFORM_POSIX_BINARY_PROPERTY_LIST_H_

#include <optional>
#include <string>
#include <string_view>

namespace platform {

// Whether `content` says of itself that it is a binary property list.
[[nodiscard]] bool IsBinaryPropertyList(std::string_view content);

// The text under `key` in the dictionary at the root of a binary property list; no value where
// there is no dictionary, no such key, or no string under it. Reads in place and only what it
// needs: objects may be nested without end, or stand in many places and grow without limit when
// they are unfolded.
//
// The format: the eight bytes "bplist00", the objects, a table of their offsets, and a trailer of
// 32 bytes: six unused, the width of an offset, the width of a reference (the number of an object),
// then in eight bytes each the number of objects, the reference of the root and the offset of the
// table. Numbers are big-endian. An object is a byte of kind and count (a count of 15 means that it
// follows as an integer object) and its data; those of a dictionary are the references of all keys,
// then those of all values.
//
// Source: Apple's CFBinaryPList.c, "Binary plist format".
[[nodiscard]] std::optional<std::string> FindStringInBinaryPropertyList(std::string_view content,
                                                                        std::string_view key);

}  // namespace platform

#endif  // PLATFORM_POSIX_BINARY_PROPERTY_LIST_H_
