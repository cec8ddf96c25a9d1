#ifndef TESTS_FOUNDATION_COREFOUNDATION_COREFOUNDATION_H_
#define TESTS_FOUNDATION_COREFOUNDATION_COREFOUNDATION_H_

// As much of the framework as the macOS half uses, with the types of its documentation.

typedef const void* CFTypeRef;
typedef const struct __CFString* CFStringRef;

extern "C" void CFRelease(CFTypeRef object);

#endif  // TESTS_FOUNDATION_COREFOUNDATION_COREFOUNDATION_H_
