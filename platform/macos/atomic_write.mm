#include "platform/atomic_write.h"

#import <Foundation/NSData.h>

#include "platform/macos/foundation_text.h"

namespace platform {

bool WriteFileAtomically(const std::string& path, std::string_view content) {
  @autoreleasepool {
    NSString* const file = ToFoundationPath(path);
    if (file == nil) return false;
    NSData* const data = [NSData dataWithBytes:content.data() length:content.size()];
    return [data writeToFile:file atomically:YES];
  }
}

bool WriteFileAtomically(const LocatedItem& item, std::string_view content) {
  return WriteFileAtomically(item.path, content);
}

}  // namespace platform
