#ifndef TESTS_HOOK_MACHINE_IN_FOLDER_H_
#define TESTS_HOOK_MACHINE_IN_FOLDER_H_

#include <string>

#include "tests/support/fake_host.h"
#include "tests/support/files.h"
#include "tests/support/scoped_temp_dir.h"

namespace test {

// A machine on which nothing is installed yet, in a temporary folder: every folder that the
// hook asks for lies there for the life of the object, and nobody is at the console. The hook
// runs as "Installer/ZintCustomHook".
struct MachineInFolder {
  MachineInFolder() {
    host.directories.folders[{2, 1}] = At("Applications");
    host.directories.folders[{2, 14}] = At("Library/Application Support");
    host.directories.home = At("Users/mia");
    host.info.executable = At("Installer/ZintCustomHook");
    host.info.bundle = At("Installer");
    MakeDirs(At("Applications"));
    MakeDirs(At("Library/Application Support"));
    MakeDirs(At("Users/mia"));
  }

  // Absolute path of what lies at `relative` in the folder.
  [[nodiscard]] std::string At(const std::string& relative) const { return folder.Join(relative); }

  ScopedTempDir folder;
  FakeHost host;
};

}  // namespace test

#endif  // TESTS_HOOK_MACHINE_IN_FOLDER_H_
