#include "platform/property_list.h"

#import <Foundation/NSData.h>
#import <Foundation/NSDictionary.h>
#import <Foundation/NSPropertyList.h>
#import <Foundation/NSString.h>

#include "platform/checked_file.h"
#include "platform/macos/foundation_text.h"

namespace platform {

bool ReadPropertyListString(const std::string& path, const std::string& key, std::string* value) {
  std::string content;
  if (ReadWholeFile(path, kMaxPropertyListBytes, &content) != 0) return false;
  @autoreleasepool {
    NSString* const name = ToFoundation(key);
    NSData* const data = [NSData dataWithBytes:content.data() length:content.size()];
    const id list = [NSPropertyListSerialization propertyListWithData:data
                                                              options:NSPropertyListImmutable
                                                               format:nullptr
                                                                error:nullptr];
    if (name == nil || ![list isKindOfClass:[NSDictionary class]]) return false;
    const id object = [list objectForKey:name];
    if (![object isKindOfClass:[NSString class]]) return false;
    return AssignText(object, value);
  }
}

}  // namespace platform
