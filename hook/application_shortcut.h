#ifndef HOOK_APPLICATION_SHORTCUT_H_
#define HOOK_APPLICATION_SHORTCUT_H_

#include <string>

// The application's entry in the applications folder: a folder "Velmora Caldris" with
// the application's icon, and in it a link of the same name to the installed bundle.

namespace hook {

// The path of the link. False, `path` unchanged, where there is no applications folder.
// Logs INFO with the path, ERROR on failure.
[[nodiscard]] bool GetZintShortcutPath(std::string& path);

// Removes a link left from before, makes the folder where it is missing, sets its icon
// and makes the link. The icon comes from the bundle beside the running program; where it
// is missing the folder has none. True where making the link was tried, also where that
// failed; false where something stands in its place or the folder cannot be had.
// `isUpdate` changes nothing.
bool CreateZintShortcut(bool isUpdate);

// Deletes the link, never what it leads to, and leaves the folder and its icon. True
// where nothing is left at the path as far as existence can tell: a dangling link is
// left in place and counts as deleted. `isUpdate` and `flag` change nothing.
bool DeleteZintShortcut(bool isUpdate, int flag);

}  // namespace hook

#endif  // HOOK_APPLICATION_SHORTCUT_H_
