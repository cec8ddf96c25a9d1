#ifndef PLATFORM_POSIX_ICNS_H_
#define PLATFORM_POSIX_ICNS_H_

#include <string_view>

namespace platform {

// The PNG of the most pixels in an icns file, or an empty view where there is
// none or the content is no icns file. The view is part of `content`. An icns
// file is the four bytes "icns", its length in four bytes (big-endian), then
// elements of a four-byte type, a four-byte length that counts its own eight
// bytes, and data; a PNG is told by its signature, its size by its IHDR chunk
// (W3C PNG specification, sections 5.2 and 11.2.2).
[[nodiscard]] std::string_view FindLargestPng(std::string_view content);

}  // namespace platform

#endif  // PLATFORM_POSIX_ICNS_H_
