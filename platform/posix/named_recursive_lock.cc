#include "platform/named_recursive_lock.h"

#include <mutex>

namespace platform {

struct NamedRecursiveLock::Implementation {
  std::recursive_mutex mutex;
  std::string name;
};

NamedRecursiveLock::NamedRecursiveLock(const char* name)
    : implementation_(std::make_unique<Implementation>()) {
  implementation_->name = name;
}

NamedRecursiveLock::~NamedRecursiveLock() = default;

void NamedRecursiveLock::Lock() { implementation_->mutex.lock(); }

void NamedRecursiveLock::Unlock() { implementation_->mutex.unlock(); }

std::string NamedRecursiveLock::Name() const { return implementation_->name; }

}  // namespace platform
