#include "platform/posix/icns.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace platform {
namespace {

constexpr std::size_t kElementHeadBytes = 8;  // type and length; the container's head is the same
constexpr std::size_t kLengthOffset = 4;

// A PNG begins with its signature and the chunk IHDR: length, type, width, height, flags.
constexpr std::string_view kPngStart("\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR", 16);
constexpr std::size_t kWidthOffset = 16;
constexpr std::size_t kHeightOffset = 20;
constexpr std::size_t kPngHeadBytes = 24;

std::uint32_t ReadBigEndian(std::string_view bytes, std::size_t offset) {
  std::uint32_t value = 0;
  for (const char byte : bytes.substr(offset, sizeof value)) {
    value = value << 8 | static_cast<unsigned char>(byte);
  }
  return value;
}

// 0 for anything but a PNG.
std::uint64_t CountPixels(std::string_view data) {
  if (data.size() < kPngHeadBytes || !data.starts_with(kPngStart)) return 0;
  return std::uint64_t{ReadBigEndian(data, kWidthOffset)} * ReadBigEndian(data, kHeightOffset);
}

}  // namespace

std::string_view FindLargestPng(std::string_view content) {
  if (content.size() < kElementHeadBytes || !content.starts_with("icns")) return {};
  std::string_view rest = content.substr(
      kElementHeadBytes,
      std::max<std::size_t>(ReadBigEndian(content, kLengthOffset), kElementHeadBytes) -
          kElementHeadBytes);

  std::string_view largest;
  std::uint64_t mostPixels = 0;
  while (rest.size() >= kElementHeadBytes) {
    const std::size_t length = ReadBigEndian(rest, kLengthOffset);
    if (length < kElementHeadBytes || length > rest.size()) break;
    const std::string_view data = rest.substr(kElementHeadBytes, length - kElementHeadBytes);
    if (const std::uint64_t pixels = CountPixels(data); pixels > mostPixels) {
      mostPixels = pixels;
      largest = data;
    }
    rest.remove_prefix(length);
  }
  return largest;
}

}  // namespace platform
