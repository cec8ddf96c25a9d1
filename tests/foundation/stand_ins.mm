#include "tests/foundation/stand_ins.h"

#import <AppKit/NSImage.h>
#import <AppKit/NSWorkspace.h>
#import <CoreFoundation/CoreFoundation.h>
#import <CoreServices/CoreServices.h>
#import <Foundation/Foundation.h>
#import <SystemConfiguration/SystemConfiguration.h>
#include <string>
#include <string_view>
#include <vector>

#include "platform/item_query.h"
#include "platform/posix/host_parts.h"

namespace test {

namespace {

bool tellsOperatingSystemVersion = true;
OSType failingSelector = 0;
constexpr OSErr kUnknownSelector = -5551;  // the framework's

}  // namespace

std::vector<std::string>& SetIcons() {
  static std::vector<std::string> icons;
  return icons;
}

void SetTellsOperatingSystemVersion(bool tells) { tellsOperatingSystemVersion = tells; }

std::vector<unsigned int>& GestaltSelectors() {
  static std::vector<unsigned int> selectors;
  return selectors;
}

void SetFailingSelector(unsigned int selector) { failingSelector = selector; }

}  // namespace test

extern "C" {

void CFRelease(CFTypeRef object) { [static_cast<id>(const_cast<void*>(object)) release]; }

CFStringRef SCDynamicStoreCopyConsoleUser(SCDynamicStoreRef store, uid_t* uid, gid_t* gid) {
  platform::ConsoleUser user;
  if (store != nullptr || !platform::PosixConsoleUserSource().GetConsoleUser(&user)) return nullptr;
  *uid = user.uid;
  *gid = user.gid;
  NSString* const name = [[NSString alloc] initWithUTF8String:user.name.c_str()];
  return static_cast<CFStringRef>(static_cast<const void*>(name));
}

#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
OSErr Gestalt(OSType selector, SInt32* response) {
  test::GestaltSelectors().push_back(selector);
  if (selector == test::failingSelector) return test::kUnknownSelector;
  platform::OperatingSystemVersion version;
  (void)platform::PosixHostInfo().GetOperatingSystemVersion(&version);
  switch (selector) {
    case gestaltSystemVersionMajor:
      *response = static_cast<SInt32>(version.major);
      return noErr;
    case gestaltSystemVersionMinor:
      *response = static_cast<SInt32>(version.minor);
      return noErr;
    case gestaltSystemVersionBugFix:
      *response = static_cast<SInt32>(version.patch);
      return noErr;
    default:
      return test::kUnknownSelector;
  }
}
#pragma clang diagnostic pop
}

@implementation NSProcessInfo (OperatingSystemVersion)

- (NSOperatingSystemVersion)operatingSystemVersion {
  platform::OperatingSystemVersion version;
  (void)platform::PosixHostInfo().GetOperatingSystemVersion(&version);
  return {version.major, version.minor, version.patch};
}

- (BOOL)respondsToSelector:(SEL)selector {
  if (sel_isEqual(selector, @selector(operatingSystemVersion))) {
    return test::tellsOperatingSystemVersion ? YES : NO;
  }
  return [super respondsToSelector:selector];
}

@end

#pragma clang diagnostic push
// A category may replace a method: here it does so on purpose.
#pragma clang diagnostic ignored "-Wobjc-protocol-method-implementation"

@implementation NSFileManager (FoldersOfMacOS)

- (NSURL*)URLForDirectory:(NSSearchPathDirectory)directory
                 inDomain:(NSSearchPathDomainMask)domain
        appropriateForURL:(NSURL*)url
                   create:(BOOL)shouldCreate
                    error:(NSError**)error {
  std::string path;
  bool isFolder = false;
  // Another URL or no creation would be another question. kTakesAnythingForAFolder: the folder
  // that the POSIX half had made may be a file.
  if (url != nil || !shouldCreate ||
      !platform::PosixDirectoryLookup().FindDirectory(domain, directory, &path) ||
      !platform::ItemExists(path, &isFolder) || !isFolder) {
    if (error != nullptr) {
      *error = [NSError errorWithDomain:NSCocoaErrorDomain code:256 userInfo:nil];
    }
    return nil;
  }
  return [NSURL fileURLWithPath:[NSString stringWithUTF8String:path.c_str()] isDirectory:YES];
}

@end

#pragma clang diagnostic pop

#pragma clang diagnostic push
// As much of them as is asked for.
#pragma clang diagnostic ignored "-Wincomplete-implementation"
#pragma clang diagnostic ignored "-Wprotocol"
#pragma clang diagnostic ignored "-Wobjc-property-implementation"
#pragma clang diagnostic ignored "-Wobjc-property-synthesis"

@implementation NSImage

- (id)initWithData:(NSData*)data {
  self = [super init];
  // The one place for an object of any class.
  if (self != nil) _delegate = [data copy];
  return self;
}

- (void)dealloc {
  [_delegate release];
  [super dealloc];
}

- (id)delegate {
  return _delegate;
}

@end

@implementation NSWorkspace

// kIgnoresBrokenPipes, from the first look at a file handle on. Done before anything else, that is
// no change which a test could be blamed for.
+ (void)load {
  @autoreleasepool {
    (void)[NSFileHandle fileHandleWithNullDevice];
  }
}

+ (NSWorkspace*)sharedWorkspace {
  static NSWorkspace* workspace = nil;
  if (workspace == nil) workspace = [[NSWorkspace alloc] init];
  return workspace;
}

- (BOOL)setIcon:(NSImage*)image forFile:(NSString*)fullPath options:(NSUInteger)options {
  if (options != 0 || ![[NSFileManager defaultManager] isWritableFileAtPath:fullPath]) return NO;
  NSData* const data = [image delegate];
  const std::string_view icns(static_cast<const char*>([data bytes]), [data length]);
  const std::string source = image == nil ? "none" : std::to_string(icns.size()) + " bytes";
  test::SetIcons().push_back(source + " -> " + [fullPath UTF8String]);
  (void)platform::SetFolderImage(icns, [fullPath UTF8String]);
  return YES;
}

@end

#pragma clang diagnostic pop
