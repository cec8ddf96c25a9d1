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

bool AskGestalt(OSType selector, std::int64_t* number) {
  SInt32 answer = 0;
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
  // Asked only on systems that are too old for the call that replaced it.
  if (Gestalt(selector, &answer) != noErr) return false;
#pragma clang diagnostic pop
  *number = answer;
  return true;
}

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
      } else if (!AskGestalt(gestaltSystemVersionMajor, &found.major) ||
                 !AskGestalt(gestaltSystemVersionMinor, &found.minor) ||
                 !AskGestalt(gestaltSystemVersionBugFix, &found.patch)) {
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
      return Assign([[NSBundle mainBundle] executablePath], path);
    }
  }

  bool GetBundlePath(std::string* path) override {
    @autoreleasepool {
      return Assign([[NSBundle mainBundle] bundlePath], path);
    }
  }

 private:
  static bool Assign(NSString* found, std::string* path) {
    std::optional<std::string> text = FromFoundation(found);
    if (!text) return false;
    *path = *std::move(text);
    return true;
  }
};

}  // namespace

HostInfo& MacHostInfo() {
  static MacInfo info;
  return info;
}

}  // namespace platform
