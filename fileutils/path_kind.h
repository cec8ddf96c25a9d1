#ifndef FILEUTILS_PATH_KIND_H_
#define FILEUTILS_PATH_KIND_H_

#include <cstdint>

namespace fileutils {

// The folders that the installer family cares about. The numbers are fixed and
// other programs use them; 1, 4 to 8, 12 and 15 belong to nobody and stay so. Any
// 32-bit number can be passed where a kind is asked for. Kinds whose paths
// coincide are distinct all the same.
enum PathKind : std::uint32_t {
  kApplications = 0,
  kLocalAppSupport = 2,
  kLocalAppSupportAlt = 3,
  kHome = 9,
  kConsoleUserHome = 10,
  kUserDocuments = 11,
  kUserAppSupport = 13,
  kUsersShared = 14,
  kUtilities = 16,
  kLaunchAgents = 17,
  kTemp = 18,
  kProgramItem = 19,
  kProgramParent = 20,
  kVelmoraShared = 21,
  kVelmoraSharedAlt1 = 22,
  kVelmoraSharedAlt2 = 23,
  kUserVelmora = 24,
  kUsersSharedVelmora = 25,
  kDunmarShared = 26,
  kUserDunmar = 27,
  kUsersSharedDunmar = 28,
  kOstranderUtility = 29,
  kGorrakShared = 30,
  kUserGorrak = 31,
  kOstranderRefs = 32,
  kBrannockRefs = 33,
  kBrannockRefsAlt = 34,
  kBrannock = 35,
  kBrannockAlt = 36,
  kCaldrisUtility = 37,
  kCaldrisUtilityAlt = 38,
  kLocalPreferences = 39,
  kUserPreferences = 40,
  kUserLogs = 41,
  kLocalLibrary = 42,
  kUserLibrary = 43,
  kUserDesktop = 44,
  kUserDownloads = 45,
  kFerrin = 46,
  kFerrinAlt = 47,
};

}  // namespace fileutils

#endif  // FILEUTILS_PATH_KIND_H_
