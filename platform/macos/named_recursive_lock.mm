#include "platform/named_recursive_lock.h"

#import <Foundation/NSLock.h>
#include <atomic>

#include "platform/macos/foundation_text.h"
#include "platform/named_recursive_lock_for_testing.h"

namespace platform {

namespace {

std::atomic<int> heldLocks = 0;

}  // namespace

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
    ++heldLocks;
  }
}

void NamedRecursiveLock::Unlock() {
  @autoreleasepool {
    --heldLocks;
    [implementation_->lock unlock];
  }
}

std::string NamedRecursiveLock::Name() const {
  @autoreleasepool {
    return FromFoundation([implementation_->lock name]).value_or("");
  }
}

int CountHeldLocksForTesting() { return heldLocks; }

}  // namespace platform
