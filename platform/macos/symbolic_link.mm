#include "platform/symbolic_link.h"

#import <Foundation/NSFileManager.h>

#include "platform/macos/foundation_text.h"

namespace platform {

bool CreateSymbolicLink(const std::string& path, const std::string& destination) {
  @autoreleasepool {
    NSString* const link = ToFoundationPath(path);
    NSString* const text = ToFoundationPath(destination);
    if (link == nil || text == nil) return false;
    return [[NSFileManager defaultManager] createSymbolicLinkAtPath:link
                                                withDestinationPath:text
                                                              error:nullptr];
  }
}

}  // namespace platform
