#include "platform/item_removal.h"

#import <Foundation/NSError.h>
#import <Foundation/NSFileManager.h>
#import <Foundation/NSString.h>
#include <cerrno>

#include "platform/error_text.h"
#include "platform/macos/foundation_text.h"

// The delegate of a file manager that has one item to remove: declines whatever is below it.
@interface ZintSingleRemoval : NSObject <NSFileManagerDelegate> {
  NSString* item;  // the first that was asked about
  BOOL declined;
}
- (BOOL)hasDeclined;
@end

@implementation ZintSingleRemoval

- (BOOL)fileManager:(NSFileManager*)manager shouldRemoveItemAtPath:(NSString*)path {
  (void)manager;
  if (item == nil) item = [path copy];
  if ([path isEqualToString:item]) return YES;
  declined = YES;
  return NO;
}

- (BOOL)hasDeclined {
  return declined;
}

- (void)dealloc {
  [item release];
  [super dealloc];
}

@end

namespace platform {

namespace {

bool Remove(const std::string& path, NSFileManager* manager, std::string* errorText) {
  NSError* error = nil;
  NSString* const item = ToFoundationPath(path);
  if (item == nil) {
    if (errorText != nullptr) *errorText = DescribeError(path.empty() ? ENOENT : EINVAL, path);
    return false;
  }
  if ([manager removeItemAtPath:item error:&error] && error == nil) return true;
  if (errorText != nullptr) *errorText = FromFoundation([error description]).value_or("");
  return false;
}

}  // namespace

bool RemoveItem(const std::string& path, std::string* errorText) {
  @autoreleasepool {
    return Remove(path, [[[NSFileManager alloc] init] autorelease], errorText);
  }
}

bool RemoveSingleItem(const std::string& path, std::string* errorText) {
  @autoreleasepool {
    NSFileManager* const manager = [[[NSFileManager alloc] init] autorelease];
    ZintSingleRemoval* const removal = [[[ZintSingleRemoval alloc] init] autorelease];
    [manager setDelegate:removal];
    if (!Remove(path, manager, errorText)) return false;
    // A directory with something in it is not gone, whatever the answer was.
    if (![removal hasDeclined]) return true;
    if (errorText != nullptr) *errorText = DescribeError(ENOTEMPTY, path);
    return false;
  }
}

}  // namespace platform
