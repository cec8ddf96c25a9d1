#ifndef TESTS_PROGRAM_THROW_AWAY_ROOT_H_
#define TESTS_PROGRAM_THROW_AWAY_ROOT_H_

#include <cerrno>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

#include "tests/support/run_in_root.h"
#include "tests/support/sanitizers.h"
#include "tests/support/scoped_temp_dir.h"

namespace test {

// What a run did to the tree: lines of CompareTrees, e.g. "+ Applications/Velmora Caldris".
using Changes = std::vector<std::string>;

// How a run differs from the usual one, which is the installer's: by root, with umask 022, an
// empty environment, "/" as the working folder, and /proc where it can be mounted.
struct RunOptions {
  // The path by which the program is started, and its first argument.
  std::string program = "/Installer/ZintCustomHook";
  // Not even the program's name is passed.
  bool emptyArgumentList = false;
  std::vector<std::string> environment;
  mode_t umask = 022;
  bool mountProc = true;
  // User and group, real and effective. Other than 0: NEED_REAL_ROOT first.
  uid_t user = 0;
  // A run that takes longer is ended, and fails.
  unsigned int longestSeconds = 10;
  // Called before the root is changed, so that paths are those of the machine. NEED_MOUNTS first.
  // What is mounted here is part of the tree that is compared.
  std::function<void()> mounts;
  // Called inside the root, in the process that is about to become the program.
  std::function<void()> beforeStart;
  // Called inside the root, in the program's parent, after the program has ended. What is done here
  // to the tree counts as done by the program.
  std::function<void()> afterEnd;
};

// What a run did in full, log included.
struct Outcome {
  Changes changes;
  std::string process;  // the program's process id, as it saw it itself
};

// A machine to run the program on, as the installer finds it:
//
//   /Installer/ZintCustomHook   the program; the libraries that it needs are there as well
//   /Installer/Caldris.app/Contents/Resources/CaldrisApplicationFolder.icns
//   /Applications, /Library/Application Support, /Users, /root, /tmp, /proc, /var
//   /etc/passwd                 root, mia (uid 1000) and greta (uid 1001)
//   /dev/null                   a plain file, so that it shows whatever is written to it
class ThrowAwayRoot {
 public:
  ThrowAwayRoot();

  // The path of an item as the test sees it; `path` begins with "/".
  [[nodiscard]] std::string Join(const std::string& path) const;

  // Puts in what lies at the link's destination once the application is installed.
  void AddInstalledBundle() const;
  // Puts in a manifest ("old") and a link as an earlier run has left them.
  void AddEarlierInstallation() const;
  // Puts in a left-over CEF folder with something in it.
  void AddCefFolder() const;
  // Puts in the device of the console, with `owner` at the console. False where no device can be
  // made.
  [[nodiscard]] bool AddConsole(uid_t owner) const;
  // Puts in a shared library that the program opens at run time, with all that it needs. False
  // where this machine has none of that name.
  [[nodiscard]] bool AddLibrary(const std::string& name) const;

  // Runs the program, in namespaces of its own where they are to be had, and returns what became
  // of the tree, its log aside: left out are each file "Caldris/Ixer/Ixer.log" that was made or
  // changed, and the folders that were made on the way to it. The calling test fails unless the
  // program ends with status 0 in time, prints nothing and leaves no semaphore set.
  Changes Run(const std::vector<std::string>& arguments, const RunOptions& options = {}) const;
  // The same with nothing left out.
  Outcome RunWithLog(const std::vector<std::string>& arguments,
                     const RunOptions& options = {}) const;

 private:
  ScopedTempDir folder_;
};

// A test of the program on one machine. Skipped where no root folder can be changed.
class ProgramTest : public testing::Test {
 public:
  ThrowAwayRoot root;

 protected:
  void SetUp() override;
};

// For tests with several real users, with somebody at the console of a ThrowAwayRoot, and for tests
// that mount.
#define NEED_REAL_ROOT() \
  if (const std::string whyNot = ::test::WhyNoRealRoot(); !whyNot.empty()) GTEST_SKIP() << whyNot
#define NEED_CONSOLE(root, owner) \
  NEED_REAL_ROOT();               \
  if (!(root).AddConsole(owner)) GTEST_SKIP() << "no device can be made: " << std::strerror(errno)
#define NEED_MOUNTS() \
  if (const std::string whyNot = ::test::WhyNoMounts(); !whyNot.empty()) GTEST_SKIP() << whyNot

// Whether the program stands on the POSIX half of the platform. That half guards more than it is
// asked to, where macOS has Foundation's ways: it uses no link of another user to a folder of
// root's, writes over no FIFO, clears away files that a killed run left unfinished, and takes the
// languages from the environment.
#ifdef ZINT_MACOS_HALF
inline constexpr bool kIsPosixHalf = false;
#else
inline constexpr bool kIsPosixHalf = true;
#endif

// The manifest, for an application folder at its usual place.
inline constexpr std::string_view kManifest =
    "<?xml version=\"1.0\"?><SpecifierManifest Version=\"1.0\"><Name>caldris</Name>"
    "<Version>6.7.0</Version><Locale></Locale><Group></Group>"
    "<Path>/Applications/Utilities/Velmora Caldris/Ixer/Caldris.app</Path></SpecifierManifest>";

// The image in the application's icon file.
[[nodiscard]] std::string IconImage();

// Makes a character device, by its Linux numbers. False where that is refused.
[[nodiscard]] bool MakeDevice(const std::string& path, unsigned int major, unsigned int minor);

// Mounting, for RunOptions::mounts. A failure is a failure of the test.
void MountFolder(const std::string& source, const std::string& target);
void MountMemory(const std::string& target, const std::string& limits);  // e.g. "size=64k"
void MakeReadOnly(const std::string& target);
// Writes to `folder` until its file system has no space, or no room for another name.
void FillUpSpace(const std::string& folder);
void FillUpNames(const std::string& folder);

}  // namespace test

#endif  // TESTS_PROGRAM_THROW_AWAY_ROOT_H_
