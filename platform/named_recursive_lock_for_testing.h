#ifndef PLATFORM_NAMED_RECURSIVE_LOCK_FOR_TESTING_H_
#define PLATFORM_NAMED_RECURSIVE_LOCK_FOR_TESTING_H_

namespace platform {

// How many locks of the process are held, each as often as its holder has locked
// it. A lock that is destroyed while it is held counts for ever.
[[nodiscard]] int CountHeldLocksForTesting();

}  // namespace platform

#endif  // PLATFORM_NAMED_RECURSIVE_LOCK_FOR_TESTING_H_
