#include "platform/folder_listing.h"

#import <Foundation/NSArray.h>
#import <Foundation/NSDictionary.h>
#import <Foundation/NSEnumerator.h>
#import <Foundation/NSFileManager.h>
#include <optional>
#include <utility>

#include "platform/macos/foundation_text.h"

namespace platform {

bool ListFolder(const std::string& path, std::vector<std::string>* names) {
  @autoreleasepool {
    NSString* const folder = ToFoundation(path);
    if (folder == nil) return false;
    NSFileManager* const manager = [[[NSFileManager alloc] init] autorelease];
    NSArray* const entries = [manager contentsOfDirectoryAtPath:folder error:nullptr];
    if (entries == nil) return false;
    names->clear();
    for (NSString* entry in entries) {
      if (std::optional<std::string> name = FromFoundation(entry)) {
        names->push_back(*std::move(name));
      }
    }
    return true;
  }
}

void WalkFolder(const std::string& root, const std::function<bool(const WalkEntry&)>& visit) {
  @autoreleasepool {
    NSString* const folder = ToFoundation(root);
    if (folder == nil) return;
    NSDirectoryEnumerator* const enumerator =
        [[NSFileManager defaultManager] enumeratorAtPath:folder];
    for (;;) {
      // A pool for each entry: a walk may be long.
      @autoreleasepool {
        NSString* const entry = [enumerator nextObject];
        if (entry == nil) return;
        const std::optional<std::string> path = FromFoundation(entry);
        const bool isFolder =
            [[[enumerator fileAttributes] fileType] isEqualToString:NSFileTypeDirectory];
        const bool enter = path && visit({.path = *path, .isFolder = isFolder});
        if (isFolder && !enter) [enumerator skipDescendents];
      }
    }
  }
}

}  // namespace platform
