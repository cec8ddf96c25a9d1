#ifndef TESTS_FOUNDATION_CORESERVICES_CORESERVICES_H_
#define TESTS_FOUNDATION_CORESERVICES_CORESERVICES_H_

#import <Foundation/NSProcessInfo.h>

// As much of the framework as the macOS half uses, and what GNUstep's Foundation lacks of Apple's.

typedef unsigned int OSType;
typedef int SInt32;
typedef short OSErr;

enum : OSErr { noErr = 0 };
// Deprecated one by one, as the framework has them.
enum [[deprecated]] : OSType{
    gestaltSystemVersionMajor = 0x73797331,   // "sys1"
    gestaltSystemVersionMinor = 0x73797332,   // "sys2"
    gestaltSystemVersionBugFix = 0x73797333,  // "sys3"
};

extern "C" [[deprecated]] OSErr Gestalt(OSType selector, SInt32* response);

typedef struct {
  NSInteger majorVersion;
  NSInteger minorVersion;
  NSInteger patchVersion;
} NSOperatingSystemVersion;

@interface NSProcessInfo (OperatingSystemVersion)
- (NSOperatingSystemVersion)operatingSystemVersion;
@end

#endif  // TESTS_FOUNDATION_CORESERVICES_CORESERVICES_H_
