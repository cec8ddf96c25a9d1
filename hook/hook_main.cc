#include "hook/hook_main.h"

#include <optional>
#include <string>
#include <string_view>

#include "cmdline/command_line_parser.h"
#include "fileutils/path_kind.h"
#include "hook/application_shortcut.h"
#include "hook/cef_folder.h"
#include "hook/hook_log.h"
#include "hook/process_start.h"
#include "hook/specifier_manifest.h"

namespace hook {

namespace {

std::optional<std::string> FindValue(const cmdline::CommandLineParser& parser,
                                     std::string_view key) {
  std::string value;
  if (!parser.GetValue(key, value)) {
    return std::nullopt;
  }
  return value;
}

}  // namespace

int HookMain(int argc, char** argv) {
  PrepareProcess();
  StartLog();
  cmdline::CommandLineParser parser;
  parser.SetLogger(FrontEnd());
  (void)parser.Parse(argc, argv);
  const bool isUpdate = IsUpdate(FindValue(parser, "update"));
  switch (ChooseBranch(FindValue(parser, "install"))) {
    case Branch::kInstall:
      RunInstallActions(isUpdate);
      break;
    case Branch::kRemove:
      RunRemovalActions(isUpdate);
      break;
  }
  StopLog();
  return 0;
}

bool IsUpdate(const std::optional<std::string>& updateValue) { return updateValue == "true"; }

Branch ChooseBranch(const std::optional<std::string>& installValue) {
  return installValue == "1" ? Branch::kInstall : Branch::kRemove;
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
