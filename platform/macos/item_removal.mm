#include "platform/item_removal.h"

#import <Foundation/NSError.h>
#import <Foundation/NSFileManager.h>
#include <cerrno>

#include "platform/error_text.h"
#include "platform/macos/foundation_text.h"

namespace platform {

bool RemoveItem(const std::string& path, std::string* errorText) {
  @autoreleasepool {
    NSError* error = nil;
    NSString* const item = ToFoundationPath(path);
    if (item == nil) {
      if (errorText != nullptr) *errorText = DescribeError(path.empty() ? ENOENT : EINVAL, path);
      return false;
    }
    NSFileManager* const manager = [[[NSFileManager alloc] init] autorelease];
    if ([manager removeItemAtPath:item error:&error] && error == nil) return true;
    if (errorText != nullptr) *errorText = FromFoundation([error description]).value_or("");
    return false;
  }
}

}  // namespace platform
