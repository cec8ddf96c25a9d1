#include "platform/named_recursive_lock.h"

#import <Foundation/NSLock.h>

#include "platform/macos/foundation_text.h"

namespace platform {

struct NamedRecursiveLock::Implementation {
  Implementation() = default;
  ~Implementation() { [lock release]; }
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;

  NSRecursiveLock* const lock = [[NSRecursiveLock alloc] init];
};

NamedRecursiveLock::NamedRecursiveLock(const char* name)
    : implementation_(std::make_unique<Implementation>()) {
  @autoreleasepool {
    [implementation_->lock setName:ToFoundation(name)];
  }
}

NamedRecursiveLock::~NamedRecursiveLock() = default;

void NamedRecursiveLock::Lock() {
  @autoreleasepool {
    [implementation_->lock lock];
  }
}

void NamedRecursiveLock::Unlock() {
  @autoreleasepool {
    [implementation_->lock unlock];
  }
}

std::string NamedRecursiveLock::Name() const {
  @autoreleasepool {
    return FromFoundation([implementation_->lock name]).value_or("");
  }
}

}  // namespace platform
