#include "platform/thread_id.h"

#include <array>
#include <barrier>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <pthread.h>
#include <set>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

#include "tests/support/run_in_root.h"

namespace platform {

namespace {

// The kernel's own answer.
std::int32_t AskKernel() {
#if defined(SYS_gettid)
  return static_cast<std::int32_t>(::syscall(SYS_gettid));
#else
  std::uint64_t id = 0;
  EXPECT_EQ(0, ::pthread_threadid_np(nullptr, &id));
  return static_cast<std::int32_t>(id);
#endif
}

TEST(CurrentThreadId, IsTheKernelsOwn) {
  EXPECT_EQ(AskKernel(), CurrentThreadId());
  EXPECT_EQ(AskKernel(), CurrentThreadId());
  EXPECT_NE(0, CurrentThreadId());
}

TEST(CurrentThreadId, DiffersBetweenThreads) {
  constexpr std::size_t kThreads = 8;
  std::array<std::int32_t, kThreads> ids = {};
  std::barrier together(kThreads);
  std::array<std::thread, kThreads> threads;
  for (std::size_t i = 0; i < kThreads; ++i) {
    threads.at(i) = std::thread([&ids, &together, i] {
      ids.at(i) = CurrentThreadId();
      // A number is given again once its thread has ended.
      together.arrive_and_wait();
      EXPECT_EQ(AskKernel(), ids.at(i));
      EXPECT_EQ(ids.at(i), CurrentThreadId());
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::set<std::int32_t> different(ids.begin(), ids.end());
  different.insert(CurrentThreadId());
  EXPECT_EQ(kThreads + 1, different.size());
}

TEST(CurrentThreadId, IsAnotherAfterAFork) {
  const std::int32_t parent = CurrentThreadId();
  test::RunInChild([parent] {
    EXPECT_NE(parent, CurrentThreadId());
    EXPECT_EQ(AskKernel(), CurrentThreadId());
    const std::int32_t child = CurrentThreadId();
    test::RunInChild([child] {
      EXPECT_NE(child, CurrentThreadId());
      EXPECT_EQ(AskKernel(), CurrentThreadId());
    });
    EXPECT_EQ(child, CurrentThreadId());
  });
  EXPECT_EQ(parent, CurrentThreadId());
}

TEST(CurrentThreadId, IsAnotherAfterAForkOfAnyThread) {
  std::thread([] {
    const std::int32_t parent = CurrentThreadId();
    test::RunInChild([parent] {
      EXPECT_NE(parent, CurrentThreadId());
      EXPECT_EQ(AskKernel(), CurrentThreadId());
    });
    EXPECT_EQ(parent, CurrentThreadId());
  }).join();
}

}  // namespace

}  // namespace platform
