#ifndef TESTS_SUPPORT_VIRTUAL_SLOT_H_
#define TESTS_SUPPORT_VIRTUAL_SLOT_H_

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace test {

// The place of an operation in the virtual table. In the Itanium C++ ABI the first word of the
// pointer to a virtual member is the offset of its entry, plus 1 on most processors.
template <typename Operation>
std::size_t VirtualSlot(Operation operation) {
  std::uintptr_t words[2];
  static_assert(sizeof operation == sizeof words);
  std::memcpy(words, &operation, sizeof words);
  return words[0] / sizeof(void*);
}

}  // namespace test

#endif  // TESTS_SUPPORT_VIRTUAL_SLOT_H_
