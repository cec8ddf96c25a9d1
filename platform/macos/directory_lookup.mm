#include "platform/directory_lookup.h"

#import <Foundation/NSError.h>
#import <Foundation/NSFileManager.h>
#import <Foundation/NSPathUtilities.h>
#import <Foundation/NSURL.h>
#include <optional>
#include <string>

#include "platform/macos/foundation_text.h"
#include "platform/macos/host_parts.h"

namespace platform {

namespace {

class MacDirectories final : public DirectoryLookup {
 public:
  bool FindDirectory(unsigned long domainMask, unsigned long directory,
                     std::string* path) override {
    @autoreleasepool {
      NSError* error = nil;
      NSURL* const url = [[NSFileManager defaultManager]
            URLForDirectory:static_cast<NSSearchPathDirectory>(directory)
                   inDomain:static_cast<NSSearchPathDomainMask>(domainMask)
          appropriateForURL:nil
                     create:YES
                      error:&error];
      if (url == nil || error != nil) return false;
      return AssignText([url path], path);
    }
  }

  std::optional<std::string> HomeDirectory() override {
    @autoreleasepool {
      std::optional<std::string> home = FromFoundation(NSHomeDirectory());
      if (home && home->empty()) return std::nullopt;
      return home;
    }
  }

  bool HomeDirectoryForUser(const std::string& name, std::string* path) override {
    @autoreleasepool {
      // nil would stand for the user that the process is.
      NSString* const user = ToFoundation(name);
      return user != nil && AssignText(NSHomeDirectoryForUser(user), path);
    }
  }
};

}  // namespace

DirectoryLookup& MacDirectoryLookup() {
  static MacDirectories directories;
  return directories;
}

}  // namespace platform
