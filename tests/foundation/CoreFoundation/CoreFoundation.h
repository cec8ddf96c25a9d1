#ifndef TESTS_FOUNDATION_COREFOUNDATION_COREFOUNDATION_H_
#define TESTS_FOUNDATION_COREFOUNDATION_COREFOUNDATION_H_

// As much of the framework as the macOS half uses, with the types of its documentation.

typedef const void* CFTypeRef;
typedef const struct __CFString* CFStringRef;
typedef long CFIndex;
typedef unsigned int CFStringEncoding;
typedef unsigned char Boolean;

enum : CFStringEncoding { kCFStringEncodingUTF8 = 0x08000100 };

extern "C" {

void CFRelease(CFTypeRef object);
CFIndex CFStringGetLength(CFStringRef string);
CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);
Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex bufferSize,
                           CFStringEncoding encoding);
}

#endif  // TESTS_FOUNDATION_COREFOUNDATION_COREFOUNDATION_H_
