#ifndef PLATFORM_TEMPORARY_NAME_H_
#define PLATFORM_TEMPORARY_NAME_H_

#include <string>
#include <string_view>

// Names for files that become another file or are removed: a prefix that tells what they are for,
// and sixteen random hexadecimal digits, so that two writers never want the same one.

namespace platform {

// Makes a new name. False, `name` unchanged, where the system has no random numbers.
[[nodiscard]] bool MakeTemporaryName(std::string_view prefix, std::string* name);

// Whether a name is one of those for this prefix.
[[nodiscard]] bool IsTemporaryName(std::string_view prefix, std::string_view name);

}  // namespace platform

#endif  // PLATFORM_TEMPORARY_NAME_H_
