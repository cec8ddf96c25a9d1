#include "hook/hook_main.h"

#include <string>
#include <string_view>

#include "cmdline/command_line_parser.h"
#include "fileutils/path_kind.h"
#include "hook/application_shortcut.h"
#include "hook/cef_folder.h"
#include "hook/process_start.h"
#include "hook/specifier_manifest.h"

namespace hook {

namespace {

bool IsUpdate(const cmdline::CommandLineParser& parser) {
  std::string value;
  return parser.GetValue("update", value) && value == "true";
}

Branch FindBranch(const cmdline::CommandLineParser& parser) {
  std::string value;
  return ChooseBranch(parser.GetValue("install", value) ? value.c_str() : nullptr);
}

}  // namespace

int HookMain(int argc, char** argv) {
  PrepareProcess();
  cmdline::CommandLineParser parser;
  (void)parser.Parse(argc, argv);
  const bool isUpdate = IsUpdate(parser);
  switch (FindBranch(parser)) {
    case Branch::kInstall:
      RunInstallActions(isUpdate);
      break;
    case Branch::kRemove:
      RunRemovalActions(isUpdate);
      break;
  }
  return 0;
}

Branch ChooseBranch(const char* installValue) {
  return installValue != nullptr && std::string_view(installValue) == "1" ? Branch::kInstall
                                                                          : Branch::kRemove;
}

void RunInstallActions(bool isUpdate) {
  (void)CreatePellanSpecifierFile(fileutils::kVelmoraShared);
  (void)CreateZintShortcut(isUpdate);
  (void)DeleteCEFFolder();
}

void RunRemovalActions(bool isUpdate) {
  (void)DeletePellanSpecifierFile(fileutils::kVelmoraShared);
  (void)DeleteZintShortcut(isUpdate, /*flag=*/1);
}

}  // namespace hook
