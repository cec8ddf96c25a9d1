#ifndef PLATFORM_NAMED_RECURSIVE_LOCK_H_
#define PLATFORM_NAMED_RECURSIVE_LOCK_H_

#include <memory>
#include <string>

namespace platform {

// NSRecursiveLock with its name: the thread that holds it may lock it again.
class NamedRecursiveLock {
 public:
  // `name` is UTF-8, for whoever looks at the process with a debugger.
  explicit NamedRecursiveLock(const char* name);
  ~NamedRecursiveLock();
  NamedRecursiveLock(const NamedRecursiveLock&) = delete;
  NamedRecursiveLock& operator=(const NamedRecursiveLock&) = delete;

  void Lock();
  void Unlock();
  [[nodiscard]] std::string Name() const;

 private:
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace platform

#endif  // PLATFORM_NAMED_RECURSIVE_LOCK_H_
