#include "platform/property_list.h"

#import <Foundation/NSDictionary.h>
#import <Foundation/NSString.h>
#include <optional>
#include <utility>

#include "platform/macos/foundation_text.h"

namespace platform {

bool ReadPropertyListString(const std::string& path, const std::string& key, std::string* value) {
  @autoreleasepool {
    NSString* const file = ToFoundation(path);
    NSString* const name = ToFoundation(key);
    if (file == nil || name == nil) return false;
    const id object = [[NSDictionary dictionaryWithContentsOfFile:file] objectForKey:name];
    if (![object isKindOfClass:[NSString class]]) return false;
    std::optional<std::string> text = FromFoundation(object);
    if (!text) return false;
    *value = *std::move(text);
    return true;
  }
}

}  // namespace platform
