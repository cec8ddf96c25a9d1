#ifndef TESTS_FOUNDATION_SYSTEMCONFIGURATION_SYSTEMCONFIGURATION_H_
#define TESTS_FOUNDATION_SYSTEMCONFIGURATION_SYSTEMCONFIGURATION_H_

#include <CoreFoundation/CoreFoundation.h>
#include <sys/types.h>

// As much of the framework as the macOS half uses.

typedef const struct __SCDynamicStore* SCDynamicStoreRef;

extern "C" CFStringRef SCDynamicStoreCopyConsoleUser(SCDynamicStoreRef store, uid_t* uid,
                                                     gid_t* gid);

#endif  // TESTS_FOUNDATION_SYSTEMCONFIGURATION_SYSTEMCONFIGURATION_H_
