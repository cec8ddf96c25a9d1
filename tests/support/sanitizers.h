#ifndef TESTS_SUPPORT_SANITIZERS_H_
#define TESTS_SUPPORT_SANITIZERS_H_

namespace test {

// Tells whether the address sanitizer is in the tests, and so in the program: both are built alike.
#if defined(__SANITIZE_ADDRESS__)
#define TEST_HAS_ADDRESS_SANITIZER true
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TEST_HAS_ADDRESS_SANITIZER true
#endif
#endif
#ifndef TEST_HAS_ADDRESS_SANITIZER
#define TEST_HAS_ADDRESS_SANITIZER false
#endif
inline constexpr bool kHasAddressSanitizer = TEST_HAS_ADDRESS_SANITIZER;

}  // namespace test

#endif  // TESTS_SUPPORT_SANITIZERS_H_
