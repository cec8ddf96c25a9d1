#include "platform/path_text.h"

#import <Foundation/NSPathUtilities.h>
#import <Foundation/NSString.h>

#include "platform/macos/foundation_text.h"

namespace platform {

std::optional<std::string> AppendingPathComponent(std::string_view path,
                                                  std::string_view component) {
  @autoreleasepool {
    NSString* const receiver = ToFoundation(path);
    NSString* const argument = ToFoundation(component);
    if (receiver == nil || argument == nil) return std::nullopt;
    return FromFoundation([receiver stringByAppendingPathComponent:argument]);
  }
}

std::optional<std::string> LastPathComponent(std::string_view path) {
  @autoreleasepool {
    return FromFoundation([ToFoundation(path) lastPathComponent]);
  }
}

std::optional<std::string> DeletingLastPathComponent(std::string_view path) {
  @autoreleasepool {
    return FromFoundation([ToFoundation(path) stringByDeletingLastPathComponent]);
  }
}

std::optional<std::string> PathExtension(std::string_view path) {
  @autoreleasepool {
    return FromFoundation([ToFoundation(path) pathExtension]);
  }
}

std::optional<std::string> DeletingPathExtension(std::string_view path) {
  @autoreleasepool {
    return FromFoundation([ToFoundation(path) stringByDeletingPathExtension]);
  }
}

std::optional<std::string> AppendingPathExtension(std::string_view path,
                                                  std::string_view extension) {
  @autoreleasepool {
    NSString* const receiver = ToFoundation(path);
    NSString* const argument = ToFoundation(extension);
    if (receiver == nil || argument == nil) return std::nullopt;
    return FromFoundation([receiver stringByAppendingPathExtension:argument]);
  }
}

std::optional<std::string> StandardizingPath(std::string_view path) {
  @autoreleasepool {
    return FromFoundation([ToFoundation(path) stringByStandardizingPath]);
  }
}

std::optional<std::string> StandardizingProgramPath(std::string_view path) {
  return StandardizingPath(path);
}

}  // namespace platform
