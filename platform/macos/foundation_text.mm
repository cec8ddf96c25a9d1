#include "platform/macos/foundation_text.h"

#import <Foundation/NSString.h>
#include <utility>

namespace platform {

NSString* ToFoundation(std::string_view text) {
  if (text.find('\0') != std::string_view::npos) return nil;
  // An empty view may have no bytes to point at.
  return [[[NSString alloc] initWithBytes:text.empty() ? "" : text.data()
                                   length:text.size()
                                 encoding:NSUTF8StringEncoding] autorelease];
}

NSString* ToFoundationPath(std::string_view path) {
  return path.empty() ? nil : ToFoundation(path);
}

std::optional<std::string> FromFoundation(NSString* string) {
  const char* const text = [string UTF8String];
  if (text == nullptr) return std::nullopt;
  return text;
}

bool AssignText(NSString* string, std::string* text) {
  std::optional<std::string> found = FromFoundation(string);
  if (!found) return false;
  *text = *std::move(found);
  return true;
}

}  // namespace platform
