#include "platform/macos/foundation_text.h"

#import <Foundation/NSString.h>

namespace platform {

NSString* ToFoundation(std::string_view text) {
  if (text.find('\0') != std::string_view::npos) return nil;
  // An empty view may have no bytes to point at.
  return [[[NSString alloc] initWithBytes:text.empty() ? "" : text.data()
                                   length:text.size()
                                 encoding:NSUTF8StringEncoding] autorelease];
}

std::optional<std::string> FromFoundation(NSString* string) {
  const char* const text = [string UTF8String];
  if (text == nullptr) return std::nullopt;
  return text;
}

}  // namespace platform
