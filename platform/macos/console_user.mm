#include "platform/console_user.h"

#import <CoreFoundation/CoreFoundation.h>
#import <SystemConfiguration/SystemConfiguration.h>
#include <memory>
#include <utility>

#include "platform/macos/foundation_text.h"
#include "platform/macos/host_parts.h"

namespace platform {

namespace {

struct Releaser {
  void operator()(CFTypeRef object) const { CFRelease(object); }
};

class MacConsole final : public ConsoleUserSource {
 public:
  bool GetConsoleUser(ConsoleUser* user) override {
    @autoreleasepool {
      // The numbers are written only where the system has them.
      ConsoleUser found;
      const std::unique_ptr<const void, Releaser> name(
          SCDynamicStoreCopyConsoleUser(nullptr, &found.uid, &found.gid));
      // A CFString is an NSString.
      if (!AssignText(static_cast<NSString*>(const_cast<void*>(name.get())), &found.name)) {
        return false;
      }
      *user = std::move(found);
      return true;
    }
  }
};

}  // namespace

ConsoleUserSource& MacConsoleUserSource() {
  static MacConsole console;
  return console;
}

}  // namespace platform
