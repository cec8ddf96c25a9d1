#include "platform/thread_id.h"

#include <pthread.h>

#include "platform/kernel_thread_id.h"

namespace platform {

namespace {

// 0: not asked yet. No thread has that number.
thread_local std::int32_t knownThreadId = 0;

void ForgetThreadId() { knownThreadId = 0; }

}  // namespace

std::int32_t CurrentThreadId() {
  if (knownThreadId == 0) {
    // The child of a fork has its parent's memory and another number. Where it cannot be told
    // about that, nothing is remembered.
    static const bool forgetsInChild = pthread_atfork(nullptr, nullptr, ForgetThreadId) == 0;
    if (!forgetsInChild) return KernelThreadId();
    knownThreadId = KernelThreadId();
  }
  return knownThreadId;
}

}  // namespace platform
