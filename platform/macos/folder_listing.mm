#include "platform/folder_listing.h"

#import <Foundation/NSArray.h>
#import <Foundation/NSDictionary.h>
#import <Foundation/NSEnumerator.h>
#import <Foundation/NSFileManager.h>
#import <Foundation/NSPathUtilities.h>
#include <optional>

#include "platform/entry_removal.h"
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

void WalkFolder(int folder, const std::string& path,
                const std::function<WalkStep(const std::string& entry)>& visit) {
  @autoreleasepool {
    // Whether the enumerator follows a link in its own place, its documentation does not say. Only
    // "/tmp" and its like stay links: the call takes "/private" off again.
    NSString* const root = [ToFoundationPath(path) stringByResolvingSymlinksInPath];
    if (root == nil) return;
    NSDirectoryEnumerator* const enumerator =
        [[NSFileManager defaultManager] enumeratorAtPath:root];
    for (;;) {
      // A pool for each entry: a walk may be long.
      @autoreleasepool {
        NSString* const entry = [enumerator nextObject];
        if (entry == nil) return;
        const bool isFolder =
            [[[enumerator fileAttributes] fileType] isEqualToString:NSFileTypeDirectory];
        const std::optional<std::string> found = FromFoundation(entry);
        const WalkStep step = found ? visit(*found) : WalkStep::kPass;
        if (step == WalkStep::kStop) return;
        if (step == WalkStep::kRemove) (void)RemoveEntry(folder, *found);
        if (step == WalkStep::kPass && isFolder) [enumerator skipDescendents];
      }
    }
  }
}

}  // namespace platform
