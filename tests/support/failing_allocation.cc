#include "tests/support/failing_allocation.h"

#include <cstdlib>
#include <new>

namespace {

bool isArmed = false;
bool hasFailed = false;
std::size_t remainingSuccesses = 0;

void* AllocateOrNull(std::size_t bytes) {
  if (isArmed && !hasFailed) {
    if (remainingSuccesses == 0) {
      hasFailed = true;
      return nullptr;
    }
    --remainingSuccesses;
  }
  return std::malloc(bytes == 0 ? 1 : bytes);
}

void* AllocateOrThrow(std::size_t bytes) {
  void* const memory = AllocateOrNull(bytes);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

// In place of those of the C++ library, for the whole test program and its libraries.
void* operator new(std::size_t bytes) { return AllocateOrThrow(bytes); }
void* operator new[](std::size_t bytes) { return AllocateOrThrow(bytes); }
void* operator new(std::size_t bytes, const std::nothrow_t& /*tag*/) noexcept {
  return AllocateOrNull(bytes);
}
void* operator new[](std::size_t bytes, const std::nothrow_t& /*tag*/) noexcept {
  return AllocateOrNull(bytes);
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*bytes*/) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t /*bytes*/) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t& /*tag*/) noexcept { std::free(memory); }

namespace test {

ScopedAllocationFailure::ScopedAllocationFailure(std::size_t successes) {
  remainingSuccesses = successes;
  hasFailed = false;
  isArmed = true;
}

ScopedAllocationFailure::~ScopedAllocationFailure() { isArmed = false; }

bool ScopedAllocationFailure::HasFailed() const { return hasFailed; }

}  // namespace test
