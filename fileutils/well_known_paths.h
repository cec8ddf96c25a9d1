#ifndef FILEUTILS_WELL_KNOWN_PATHS_H_
#define FILEUTILS_WELL_KNOWN_PATHS_H_

#include <string>

#include "fileutils/path_kind.h"

// Well-known folders. Every call looks them up afresh. Lookups in the user domain
// are made while the process is the console user (login_user_switch_guard.h), so
// that a process of root's still lands in that person's home. A lookup makes a
// missing folder where it may: of the local domain with the default mode, of the
// user domain with 0700. Nothing is logged.

namespace fileutils {

// The folder of a kind, as a UTF-8 path; some end in "/".
//
// `outPath` is meant to be empty: it is not cleared, and most kinds append their
// suffix to what a failed lookup left in it and report true even so ("/Velmora"
// alone). False only: for kinds without a folder (`outPath` unchanged), for
// `kApplications`, `kLocalAppSupport`, `kLocalAppSupportAlt`, `kLocalLibrary` and
// `kLocalPreferences` when the lookup fails (unchanged), and for `kUserLogs` when
// one of its folders cannot be made or the home cannot be told (unchanged).
// `kConsoleUserHome` keeps a non-empty `outPath` when the console user has no home.
//
//   kCaldrisUtilityAlt -> "/Applications/Utilities/Velmora Caldris/"
//   kLaunchAgents      -> "/Library/Application Support/../LaunchAgents/"
[[nodiscard]] bool GetWellKnownPath(PathKind kind, std::string& outPath);

// One lookup of the platform's directory table, numbers as in
// platform/directory_lookup.h; note the order of the arguments. False, `outPath`
// unchanged, where there is no such folder or it cannot be made.
[[nodiscard]] bool GetSystemDirectory(unsigned long domainMask, unsigned long directory,
                                      std::string& outPath);

// The home folder of the console user, of the effective user where nobody is at
// the console. Unchanged where it cannot be told (the account database cannot be
// read), which is not the same as an account without an entry ("/var/empty").
void GetUserHomeDirectory(std::string& outPath);

// The item that was launched: the bundle of the running program, or the executable
// itself where it lies in no bundle. Unchanged where the platform cannot tell.
void GetExecutableFolder(std::string& outPath);

// Parts of several kinds, under the rules of `GetWellKnownPath`: what the lookup
// yields, or what `outPath` held, and the suffix appended. The first and the last
// are looked up as the console user.
void GetUserVelmoraFolder(std::string& outPath);         // ~/Library/Application Support/Velmora
void GetUsersSharedVelmoraFolder(std::string& outPath);  // /Users/Shared/Velmora
void GetUserLibraryFolder(std::string& outPath);         // ~/Library, no suffix

}  // namespace fileutils

#endif  // FILEUTILS_WELL_KNOWN_PATHS_H_
