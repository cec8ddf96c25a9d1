#ifndef HOOK_HOOK_MAIN_H_
#define HOOK_HOOK_MAIN_H_

#include <optional>
#include <string>

namespace hook {

// The whole life of the process. With "--install=1" the install actions run: manifest,
// shortcut, clean-up of the CEF folder. With anything else, no arguments included, the
// removal actions: manifest, shortcut. Always returns 0; what happened is in the log.
int HookMain(int argc, char** argv);

// What the command line asks for.
enum class Branch { kInstall, kRemove };

// The value of "install", if it was given. Exactly "1" installs; everything else removes, on
// purpose.
[[nodiscard]] Branch ChooseBranch(const std::optional<std::string>& installValue);

// The value of "update", if it was given. Exactly "true" is one.
[[nodiscard]] bool IsUpdate(const std::optional<std::string>& updateValue);

// The actions of a branch, in their order. `isUpdate` only travels to those of the shortcut.
void RunInstallActions(bool isUpdate);
void RunRemovalActions(bool isUpdate);

}  // namespace hook

#endif  // HOOK_HOOK_MAIN_H_
