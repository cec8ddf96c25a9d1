#ifndef TESTS_PLATFORM_POSIX_ICON_SAMPLES_H_
#define TESTS_PLATFORM_POSIX_ICON_SAMPLES_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// Icon files made by hand, as far as anybody looks at them.

namespace test {

inline std::string BigEndian(std::uint32_t number) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift & 0xffU);
  return bytes;
}

// The start of a PNG, up to and with its IHDR chunk, and then `tail`.
inline std::string Png(std::uint32_t width, std::uint32_t height, std::string_view tail) {
  return std::string("\x89PNG\r\n\x1a\n") + BigEndian(13) + "IHDR" + BigEndian(width) +
         BigEndian(height) + std::string("\x08\x06\x00\x00\x00", 5) + BigEndian(0) +
         std::string(tail);
}

inline std::string IcnsElement(std::string_view type, std::string_view data) {
  return std::string(type) + BigEndian(static_cast<std::uint32_t>(data.size() + 8)) +
         std::string(data);
}

inline std::string Icns(std::string_view elements) { return IcnsElement("icns", elements); }

}  // namespace test

#endif  // TESTS_PLATFORM_POSIX_ICON_SAMPLES_H_
