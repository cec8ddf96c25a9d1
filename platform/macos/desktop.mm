#include "platform/desktop.h"

#import <AppKit/NSImage.h>
#import <AppKit/NSWorkspace.h>
#import <Foundation/NSData.h>

#include "platform/checked_file.h"
#include "platform/macos/foundation_text.h"
#include "platform/macos/host_parts.h"

namespace platform {

namespace {

class MacDesktopIcons final : public Desktop {
 public:
  bool SetFolderIcon(const std::string& iconFile, const std::string& folder) override {
    std::string content;
    const bool isRead = ReadWholeFile(iconFile, kMaxIconFileBytes, &content) == 0;
    @autoreleasepool {
      NSString* const place = ToFoundationPath(folder);
      if (place == nil) return false;
      // No image is nil, which takes an icon away.
      NSImage* image = nil;
      if (isRead) {
        NSData* const data = [NSData dataWithBytes:content.data() length:content.size()];
        image = [[[NSImage alloc] initWithData:data] autorelease];
      }
      return [[NSWorkspace sharedWorkspace] setIcon:image forFile:place options:0];
    }
  }
};

}  // namespace

Desktop& MacDesktop() {
  static MacDesktopIcons desktop;
  return desktop;
}

}  // namespace platform
