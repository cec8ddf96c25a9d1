#include "platform/item_query.h"

#import <Foundation/NSDictionary.h>
#import <Foundation/NSError.h>
#import <Foundation/NSFileManager.h>

#include "platform/macos/foundation_text.h"

namespace platform {

bool ItemExists(const std::string& path, bool* isFolder) {
  @autoreleasepool {
    NSString* const item = ToFoundationPath(path);
    if (item == nil) return false;
    NSFileManager* const manager = [[[NSFileManager alloc] init] autorelease];
    BOOL isDirectory = NO;
    if (![manager fileExistsAtPath:item isDirectory:&isDirectory]) return false;
    if (isFolder != nullptr) *isFolder = isDirectory != NO;
    return true;
  }
}

bool GetItemSize(const std::string& path, std::uint64_t* size) {
  @autoreleasepool {
    NSString* const item = ToFoundationPath(path);
    if (item == nil) return false;
    NSError* error = nil;
    NSDictionary* const attributes = [[NSFileManager defaultManager] attributesOfItemAtPath:item
                                                                                      error:&error];
    if (attributes == nil || error != nil) return false;
    *size = [attributes fileSize];
    return true;
  }
}

}  // namespace platform
