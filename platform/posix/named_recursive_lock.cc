#include "platform/named_recursive_lock.h"

#include <atomic>
#include <mutex>

#include "platform/named_recursive_lock_for_testing.h"

namespace platform {

namespace {

std::atomic<int> heldLocks = 0;

}  // namespace

struct NamedRecursiveLock::Implementation {
  std::recursive_mutex mutex;
  std::string name;
};

NamedRecursiveLock::NamedRecursiveLock(const char* name)
    : implementation_(std::make_unique<Implementation>()) {
  implementation_->name = name;
}

NamedRecursiveLock::~NamedRecursiveLock() = default;

void NamedRecursiveLock::Lock() {
  implementation_->mutex.lock();
  ++heldLocks;
}

void NamedRecursiveLock::Unlock() {
  --heldLocks;
  implementation_->mutex.unlock();
}

std::string NamedRecursiveLock::Name() const { return implementation_->name; }

int CountHeldLocksForTesting() { return heldLocks; }

}  // namespace platform
