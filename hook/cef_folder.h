#ifndef HOOK_CEF_FOLDER_H_
#define HOOK_CEF_FOLDER_H_

namespace hook {

// Removes the left-over folder "CEF", with all that is in it, from the application's
// utility folder; a link of that name is removed itself. Logs nothing. Always true.
bool DeleteCEFFolder();

}  // namespace hook

#endif  // HOOK_CEF_FOLDER_H_
