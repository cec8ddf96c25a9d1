#include "platform/host_info.h"

#import <CoreServices/CoreServices.h>
#import <Foundation/NSArray.h>
#import <Foundation/NSBundle.h>
#import <Foundation/NSLocale.h>
#import <Foundation/NSProcessInfo.h>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/macos/foundation_text.h"
#include "platform/macos/host_parts.h"

namespace platform {

namespace {

#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
// Asked only on systems that are too old for the call that replaced it.
constexpr OSType kMajor = gestaltSystemVersionMajor;
constexpr OSType kMinor = gestaltSystemVersionMinor;
constexpr OSType kBugFix = gestaltSystemVersionBugFix;

bool AskGestalt(OSType selector, std::int64_t* number) {
  SInt32 answer = 0;
  if (Gestalt(selector, &answer) != noErr) return false;
  *number = answer;
  return true;
}
#pragma clang diagnostic pop

class MacInfo final : public HostInfo {
 public:
  bool GetOperatingSystemVersion(OperatingSystemVersion* version) override {
    @autoreleasepool {
      NSProcessInfo* const process = [NSProcessInfo processInfo];
      OperatingSystemVersion found;
      if (process == nil || [process respondsToSelector:@selector(operatingSystemVersion)]) {
        NSOperatingSystemVersion numbers = {0, 0, 0};
        if (process != nil) numbers = [process operatingSystemVersion];
        found = {.major = numbers.majorVersion,
                 .minor = numbers.minorVersion,
                 .patch = numbers.patchVersion};
      } else if (!AskGestalt(kMajor, &found.major) || !AskGestalt(kMinor, &found.minor) ||
                 !AskGestalt(kBugFix, &found.patch)) {
        return false;
      }
      *version = found;
      return true;
    }
  }

  bool HasMacOSVersionNumbers() override { return true; }

  std::vector<std::string> PreferredLanguages() override {
    @autoreleasepool {
      std::vector<std::string> languages;
      for (NSString* language in [NSLocale preferredLanguages]) {
        if (std::optional<std::string> text = FromFoundation(language)) {
          languages.push_back(*std::move(text));
        }
      }
      return languages;
    }
  }

  std::string CurrentLocaleIdentifier() override {
    @autoreleasepool {
      return FromFoundation([[NSLocale currentLocale] localeIdentifier]).value_or("");
    }
  }

  bool GetExecutablePath(std::string* path) override {
    @autoreleasepool {
      return AssignText([[NSBundle mainBundle] executablePath], path);
    }
  }

  bool GetBundlePath(std::string* path) override {
    @autoreleasepool {
      return AssignText([[NSBundle mainBundle] bundlePath], path);
    }
  }
};

}  // namespace

HostInfo& MacHostInfo() {
  static MacInfo info;
  return info;
}

}  // namespace platform
