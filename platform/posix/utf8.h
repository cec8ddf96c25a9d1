#ifndef PLATFORM_POSIX_UTF8_H_
#define PLATFORM_POSIX_UTF8_H_

#include <string>
#include <string_view>

namespace platform {

// Appends a character, by its Unicode number (at most 0x10FFFF), to a UTF-8 text.
void AppendUtf8(char32_t character, std::string* text);

// Whether `bytes` are UTF-8: whole characters in their shortest form, none above 0x10FFFF, no
// surrogates (RFC 3629, section 4). An empty text is.
[[nodiscard]] bool IsUtf8(std::string_view bytes);

}  // namespace platform

#endif  // PLATFORM_POSIX_UTF8_H_
