#include "platform/console_user.h"

#import <CoreFoundation/CoreFoundation.h>
#import <SystemConfiguration/SystemConfiguration.h>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>

#include "platform/macos/host_parts.h"

namespace platform {

namespace {

struct Releaser {
  void operator()(CFTypeRef object) const { CFRelease(object); }
};

// False where the text has no UTF-8 form.
bool ToUtf8(CFStringRef string, std::string* text) {
  const CFIndex bytes =
      CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), kCFStringEncodingUTF8) + 1;
  std::string buffer(static_cast<std::size_t>(bytes), '\0');
  if (!CFStringGetCString(string, buffer.data(), bytes, kCFStringEncodingUTF8)) return false;
  *text = buffer.c_str();
  return true;
}

class MacConsole final : public ConsoleUserSource {
 public:
  bool GetConsoleUser(ConsoleUser* user) override {
    // The numbers are written only where the system has them.
    ConsoleUser found;
    const std::unique_ptr<const void, Releaser> name(
        SCDynamicStoreCopyConsoleUser(nullptr, &found.uid, &found.gid));
    if (name == nullptr || !ToUtf8(static_cast<CFStringRef>(name.get()), &found.name)) return false;
    *user = std::move(found);
    return true;
  }
};

}  // namespace

ConsoleUserSource& MacConsoleUserSource() {
  static MacConsole console;
  return console;
}

}  // namespace platform
