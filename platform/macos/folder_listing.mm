#include "platform/folder_listing.h"

#import <Foundation/NSArray.h>
#import <Foundation/NSDictionary.h>
#import <Foundation/NSEnumerator.h>
#import <Foundation/NSFileManager.h>
#import <Foundation/NSPathUtilities.h>
#include <optional>

#include "platform/macos/foundation_text.h"

namespace platform {

bool ListFolder(const std::string& path, std::vector<std::string>* names) {
  @autoreleasepool {
    NSString* const folder = ToFoundationPath(path);
    if (folder == nil) return false;
    NSFileManager* const manager = [[[NSFileManager alloc] init] autorelease];
    NSArray* const entries = [manager contentsOfDirectoryAtPath:folder error:nullptr];
    if (entries == nil) return false;
    names->clear();
    for (NSString* entry in entries) {
      // A name without a UTF-8 form counts, too: what lists a folder may ask whether it is empty.
      names->push_back(FromFoundation(entry).value_or(""));
    }
    return true;
  }
}

void WalkFolder(const std::string& root, const std::function<bool(const WalkEntry&)>& visit) {
  @autoreleasepool {
    // Whether the enumerator follows a link in its own place, its documentation does not say. Only
    // "/tmp" and its like stay links: the call takes "/private" off again.
    NSString* const folder = [ToFoundationPath(root) stringByResolvingSymlinksInPath];
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
