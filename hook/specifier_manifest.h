#ifndef HOOK_SPECIFIER_MANIFEST_H_
#define HOOK_SPECIFIER_MANIFEST_H_

#include <string>

#include "fileutils/path_kind.h"

// The specifier manifest, caldris.xml, makes the desktop application known to the
// inter-application framework. It lies in "Pellan/specifiers" below the folder of `kind`
// (kVelmoraShared: /Library/Application Support/Velmora).

namespace hook {

// The manifest's one line of text for an application at `applicationPath`.
[[nodiscard]] std::string BuildSpecifierManifest(const std::string& applicationPath);

// Writes the manifest, its folder made where it is missing, in one step over a file
// that is there. True where it was written; otherwise the old file stays. Logs INFO on
// success, WARN where the folder and ERROR where the file cannot be made.
bool CreatePellanSpecifierFile(fileutils::PathKind kind);

// Deletes the manifest and leaves its folders. Logs INFO, be it deleted, not there, or
// not to be deleted. Always true.
bool DeletePellanSpecifierFile(fileutils::PathKind kind);

}  // namespace hook

#endif  // HOOK_SPECIFIER_MANIFEST_H_
