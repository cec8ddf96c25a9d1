#include "platform/named_recursive_lock.h"

#include <array>
#include <gtest/gtest.h>
#include <thread>

#include "platform/named_recursive_lock_for_testing.h"

namespace platform {
namespace {

TEST(NamedRecursiveLock, KeepsItsName) {
  char name[] = "Größe of the Lock";
  const NamedRecursiveLock lock(name);
  name[0] = 'x';
  EXPECT_EQ(lock.Name(), "Größe of the Lock");
}

TEST(NamedRecursiveLock, LetsItsHolderInAgain) {
  NamedRecursiveLock lock("again");
  lock.Lock();
  lock.Lock();
  lock.Unlock();
  lock.Unlock();
  // It is free now.
  std::thread([&lock] {
    lock.Lock();
    lock.Unlock();
  }).join();
}

TEST(NamedRecursiveLock, KeepsOthersOutUntilTheLastUnlock) {
  NamedRecursiveLock lock("counter");
  int counter = 0;
  const auto count = [&] {
    for (int i = 0; i < 1000; ++i) {
      lock.Lock();
      lock.Lock();
      const int seen = counter;
      lock.Unlock();
      // Still held: whoever were let in here would count from the same number.
      std::this_thread::yield();
      counter = seen + 1;
      lock.Unlock();
    }
  };
  std::array<std::thread, 4> threads;
  for (std::thread& thread : threads) thread = std::thread(count);
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(counter, 4000);
}

TEST(CountHeldLocksForTesting, CountsEachLockAsOftenAsItIsLocked) {
  NamedRecursiveLock first("first");
  NamedRecursiveLock second("second");
  EXPECT_EQ(CountHeldLocksForTesting(), 0);
  first.Lock();
  first.Lock();
  second.Lock();
  EXPECT_EQ(CountHeldLocksForTesting(), 3);
  first.Unlock();
  second.Unlock();
  first.Unlock();
  EXPECT_EQ(CountHeldLocksForTesting(), 0);
}

}  // namespace
}  // namespace platform
