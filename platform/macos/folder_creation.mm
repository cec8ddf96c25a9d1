#include "platform/folder_creation.h"

#import <Foundation/NSDictionary.h>
#import <Foundation/NSError.h>
#import <Foundation/NSFileManager.h>
#import <Foundation/NSValue.h>
#include <cerrno>

#include "platform/error_text.h"
#include "platform/macos/foundation_text.h"

namespace platform {

namespace {

NSDictionary* ToDictionary(const FolderAttributes& attributes) {
  NSMutableDictionary* const dictionary = [NSMutableDictionary dictionary];
  if (attributes.group) {
    [dictionary setObject:[NSNumber numberWithUnsignedLong:*attributes.group]
                   forKey:NSFileGroupOwnerAccountID];
  }
  if (attributes.owner) {
    [dictionary setObject:[NSNumber numberWithUnsignedLong:*attributes.owner]
                   forKey:NSFileOwnerAccountID];
  }
  if (attributes.mode) {
    [dictionary setObject:[NSNumber numberWithUnsignedLong:*attributes.mode]
                   forKey:NSFilePosixPermissions];
  }
  return dictionary;
}

}  // namespace

bool CreateFolder(const std::string& path, const FolderAttributes* attributes,
                  std::string* errorText) {
  @autoreleasepool {
    NSError* error = nil;
    NSString* const folder = ToFoundationPath(path);
    if (folder == nil) {
      if (errorText != nullptr) *errorText = DescribeError(path.empty() ? ENOENT : EINVAL, path);
      return false;
    }
    const BOOL created = [[NSFileManager defaultManager]
              createDirectoryAtPath:folder
        withIntermediateDirectories:YES
                         attributes:attributes == nullptr ? nil : ToDictionary(*attributes)
                              error:&error];
    if (created && error == nil) return true;
    if (errorText != nullptr) {
      *errorText = FromFoundation([error localizedDescription]).value_or("");
    }
    return false;
  }
}

}  // namespace platform
