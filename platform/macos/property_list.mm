#include "platform/property_list.h"

#import <Foundation/NSDictionary.h>
#import <Foundation/NSString.h>

#include "platform/macos/foundation_text.h"

namespace platform {

bool ReadPropertyListString(const std::string& path, const std::string& key, std::string* value) {
  @autoreleasepool {
    NSString* const file = ToFoundationPath(path);
    NSString* const name = ToFoundation(key);
    if (file == nil || name == nil) return false;
    const id object = [[NSDictionary dictionaryWithContentsOfFile:file] objectForKey:name];
    if (![object isKindOfClass:[NSString class]]) return false;
    return AssignText(object, value);
  }
}

}  // namespace platform
