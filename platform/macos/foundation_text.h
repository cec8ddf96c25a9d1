#ifndef PLATFORM_MACOS_FOUNDATION_TEXT_H_
#define PLATFORM_MACOS_FOUNDATION_TEXT_H_

#import <Foundation/NSString.h>
#include <optional>
#include <string>
#include <string_view>

// Texts between C++ (UTF-8) and Foundation. The only place where they are converted.

namespace platform {

// An autoreleased string; nil where the text is not UTF-8 or holds a NUL byte, which would end a
// path early.
NSString* ToFoundation(std::string_view text);

// The same for a path that is handed to the file manager, nil where it is empty, too: the manager
// may raise an exception for one.
NSString* ToFoundationPath(std::string_view path);

// No value for nil and for a string that has no UTF-8 form (half of a surrogate pair).
std::optional<std::string> FromFoundation(NSString* string);

// Stores a string that has a value; false and `text` unchanged where it has none.
bool AssignText(NSString* string, std::string* text);

}  // namespace platform

#endif  // PLATFORM_MACOS_FOUNDATION_TEXT_H_
