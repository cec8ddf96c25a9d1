#include "tests/program/throw_away_root.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <grp.h>
#include <memory>
#include <set>
#include <string_view>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include "tests/program/run_journal.h"
#include "tests/support/files.h"
#include "tests/support/known_faults.h"
#include "tests/support/tree.h"

#if __has_include(<sched.h>)
#include <sched.h>
#endif
#if __has_include(<sys/sysmacros.h>)
#include <sys/sysmacros.h>
#endif
// Only where there are namespaces are the arguments of mount those used here.
#ifdef CLONE_NEWNS
#include <sys/mount.h>
#endif

namespace test {

namespace {

constexpr int kNotStarted = 127;
constexpr std::string_view kLogPlace = "/Caldris/Ixer/Ixer.log";

void FailWithErrno(const std::string& what) {
  const int error = errno;
  ADD_FAILURE() << what << ": " << std::strerror(error);
}

struct CloseFile {
  void operator()(std::FILE* file) const { (void)std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

std::vector<std::string> ReadLines(std::FILE* file) {
  std::vector<std::string> lines(1);
  for (int c = std::fgetc(file); c != EOF; c = std::fgetc(file)) {
    if (c == '\n') {
      lines.emplace_back();
    } else {
      lines.back() += static_cast<char>(c);
    }
  }
  lines.pop_back();
  return lines;
}

// The built program, or the other build of it that the environment names.
std::string Program() {
  const char* const other = std::getenv("ZINT_TESTED_PROGRAM");
  return other != nullptr ? other : ZINT_PROGRAM;
}

// The shared libraries that the program needs at its start, the loader included, by path; also
// those of one more library, unless its name is empty.
std::set<std::string> FindLibraries(const std::string& oneMore) {
  const std::string command =
      "LD_TRACE_LOADED_OBJECTS=1 LD_PRELOAD='" + oneMore + "' '" + Program() + "' 2>/dev/null";
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> list(popen(command.c_str(), "re"), pclose);
  std::set<std::string> paths;
  if (list == nullptr) {
    FailWithErrno(command);
    return paths;
  }
  // "name => /path (0x1234)" or "/path (0x1234)"; the kernel's own has no path.
  for (const std::string& line : ReadLines(list.get())) {
    const std::size_t begin = line.find('/');
    const std::size_t end = line.rfind(" (0x");
    if (begin != std::string::npos && end != std::string::npos) {
      paths.insert(line.substr(begin, end - begin));
    }
  }
  return paths;
}

void CopyItem(const std::string& source, const std::string& destination) {
  MakeDirs(std::filesystem::path(destination).parent_path());
  std::error_code error;
  std::filesystem::copy_file(source, destination, error);
  if (error) ADD_FAILURE() << "copy of " << source << ": " << error.message();
}

std::string BigEndian(std::size_t number) {
  std::string bytes;
  for (const int shift : {24, 16, 8, 0}) bytes += static_cast<char>((number >> shift) & 0xFF);
  return bytes;
}

std::string IconFile() {
  const std::string image = IconImage();
  return "icns" + BigEndian(16 + image.size()) + "ic07" + BigEndian(8 + image.size()) + image;
}

// A pipe that holds what is printed until the program has ended. That is little: a program that
// prints more than a pipe can hold is stopped as one that hangs.
class Pipe {
 public:
  Pipe() {
    if (pipe(ends_) != 0) FailWithErrno("pipe");
  }
  ~Pipe() {
    (void)close(ends_[0]);
    (void)close(ends_[1]);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  [[nodiscard]] int WriteEnd() const { return ends_[1]; }
  [[nodiscard]] int ReadEnd() const { return ends_[0]; }

  [[nodiscard]] std::string Content() const {
    std::string content(65536, '\0');
    (void)fcntl(ends_[0], F_SETFL, O_NONBLOCK);
    const ssize_t count = read(ends_[0], content.data(), content.size());
    return content.substr(0, count < 0 ? 0 : static_cast<std::size_t>(count));
  }

 private:
  int ends_[2] = {-1, -1};
};

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

// For this process alone, so that it is no part of the tree that is compared.
void MountOwnProc() {
#ifdef CLONE_NEWNS
  if (unshare(CLONE_NEWNS) != 0 || mount("proc", "/proc", "proc", 0, nullptr) != 0) {
    FailWithErrno("mount /proc");
  }
#endif
}

// Failures of expectations in here end up in what the program prints.
[[noreturn]] void BecomeProgram(const std::vector<std::string>& arguments,
                                const RunOptions& options, const Pipe& input, const Pipe& output,
                                const Pipe& errors) {
  std::vector<std::string> environment = options.environment;
  std::vector<std::string> allArguments = {options.program};
  allArguments.insert(allArguments.end(), arguments.begin(), arguments.end());
  if (options.emptyArgumentList) allArguments.clear();

  (void)dup2(input.ReadEnd(), STDIN_FILENO);
  (void)dup2(output.WriteEnd(), STDOUT_FILENO);
  (void)dup2(errors.WriteEnd(), STDERR_FILENO);
  for (int fd = STDERR_FILENO + 1; fd < 64; ++fd) (void)close(fd);
  if (options.mountProc) MountOwnProc();
  if (options.user != 0 &&
      (setgroups(0, nullptr) != 0 || setgid(options.user) != 0 || setuid(options.user) != 0)) {
    FailWithErrno("setuid");
  }
  (void)umask(options.umask);
  if (options.beforeStart) options.beforeStart();
  (void)execve(options.program.c_str(), Pointers(allArguments).data(),
               Pointers(environment).data());
  FailWithErrno(options.program);
  (void)std::fflush(nullptr);
  _exit(kNotStarted);
}

// Waits for the end of the process, and brings it about if it takes too long.
int WaitForEnd(pid_t process, unsigned int longestSeconds) {
  struct sigaction wake = {};
  wake.sa_handler = [](int) {};
  (void)sigaction(SIGALRM, &wake, nullptr);
  (void)alarm(longestSeconds);
  int status = 0;
  while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    ADD_FAILURE() << "still running after " << longestSeconds << " s";
    (void)kill(process, SIGKILL);
  }
  (void)alarm(0);
  return status;
}

// The program's process id and the status that it ended with.
struct Ended {
  pid_t process = -1;
  int status = -1;
};

// Runs the program in the current root and expects it to end well and in silence.
Ended RunHere(const std::vector<std::string>& arguments, const RunOptions& options) {
  const Pipe input;
  const Pipe output;
  const Pipe errors;
  const pid_t process = fork();
  if (process == 0) BecomeProgram(arguments, options, input, output, errors);
  if (process < 0) {
    FailWithErrno("fork");
    return {};
  }
  int status = WaitForEnd(process, options.longestSeconds);
  if (WIFSIGNALED(status)) ADD_FAILURE() << "ended by: " << strsignal(WTERMSIG(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(output.Content(), "");
  if (!HasFault(Fault::kComplainsOnStandardError)) {
    EXPECT_EQ(errors.Content(), "");
  }
  return {.process = process, .status = WEXITSTATUS(status)};
}

// The key of the set comes from the file.
void ExpectNoSemaphoreSets(const Tree& tree) {
  for (const auto& [path, item] : tree) {
    if (!("/" + path).ends_with(kLogPlace)) continue;
    const key_t key = ftok(("/" + path).c_str(), 11);
    if (key == -1) continue;
    EXPECT_EQ(semget(key, 0, 0), -1) << "semaphore set left for " << path;
  }
}

Changes WithoutLog(const Changes& changes) {
  std::set<std::string> left;
  for (const std::string& line : changes) {
    std::string path = line.substr(2);
    if (line[0] == '-' || !("/" + path).ends_with(kLogPlace)) continue;
    left.insert(line);
    while (path.find('/') != std::string::npos) {
      path.resize(path.rfind('/'));
      left.insert("+ " + path);
    }
  }
  Changes rest;
  for (const std::string& line : changes) {
    if (left.count(line) == 0) rest.push_back(line);
  }
  return rest;
}

}  // namespace

ThrowAwayRoot::ThrowAwayRoot() {
  // The test is about to be skipped: nothing of the program may start outside a root.
  if (!WhyNoRoot().empty()) return;
  CopyItem(Program(), Join("/Installer/ZintCustomHook"));
  EXPECT_TRUE(AddLibrary(""));
  if (HasFault(Fault::kTakesAFolderOfItsOwnForBundle)) {
    // So that what lies beside the program lies beside that folder, too.
    MakeLink(Join("/Installer/Resources"), ".");
  }
  PutFile(Join("/Installer/Caldris.app/Contents/Resources/CaldrisApplicationFolder.icns"),
          IconFile());
  for (const char* folder : {"/Applications", "/Library/Application Support", "/Users", "/proc",
                             "/root", "/tmp", "/var"}) {
    MakeDirs(Join(folder));
  }
  SetMode(Join("/root"), 0700);
  PutFile(Join("/etc/passwd"),
          "root:x:0:0:root:/root:/bin/sh\n"
          "mia:x:1000:1000:Mia:/Users/mia:/bin/sh\n"
          "greta:x:1001:1001:Greta:/Users/greta:/bin/sh\n");
  PutFile(Join("/dev/null"), "");
  SetMode(Join("/dev/null"), 0666);
}

std::string ThrowAwayRoot::Join(const std::string& path) const { return folder_.Path() + path; }

void ThrowAwayRoot::AddInstalledBundle() const {
  PutFile(Join("/Applications/Utilities/Velmora Caldris/Ixer/Caldris.app/Contents/MacOS/Caldris"),
          "program");
}

void ThrowAwayRoot::AddEarlierInstallation() const {
  PutFile(Join("/Library/Application Support/Velmora/Pellan/specifiers/caldris.xml"), "old");
  MakeDirs(Join("/Applications/Velmora Caldris"));
  MakeLink(Join("/Applications/Velmora Caldris/Velmora Caldris"),
           "/Applications/Utilities/Velmora Caldris/Ixer/Caldris.app");
}

void ThrowAwayRoot::AddCefFolder() const {
  PutFile(Join("/Applications/Utilities/Velmora Caldris/CEF/locales/en.pak"), "left over");
}

bool ThrowAwayRoot::AddConsole(uid_t owner) const {
  const std::string path = Join("/dev/console");
  if (!MakeDevice(path, 5, 1)) return false;
  SetOwner(path, owner, owner);
  return true;
}

bool ThrowAwayRoot::AddLibrary(const std::string& name) const {
  bool found = name.empty();
  for (const std::string& path : FindLibraries(name)) {
    if (!name.empty() && path.ends_with("/" + name)) found = true;
    if (!IsThere(Join(path))) CopyItem(path, Join(path));
  }
  return found;
}

Changes ThrowAwayRoot::Run(const std::vector<std::string>& arguments,
                           const RunOptions& options) const {
  return WithoutLog(RunWithLog(arguments, options).changes);
}

Outcome ThrowAwayRoot::RunWithLog(const std::vector<std::string>& arguments,
                                  const RunOptions& options) const {
  // The process id, then the changes.
  const File report(std::tmpfile());
  if (report == nullptr) {
    FailWithErrno("temporary file");
    return {};
  }
  RunOptions here = options;
  here.mountProc = options.mountProc && WhyNoMounts().empty();
  RootOptions rootOptions;
  rootOptions.beforeChangeRoot = options.mounts;
  RunJournal journal;
  RunInRoot(
      folder_.Path(),
      [&] {
        const Tree before = ReadTree("/");
        const Ended ended = RunHere(arguments, here);
        if (options.afterEnd) options.afterEnd();
        const Tree after = ReadTree("/");
        ExpectNoSemaphoreSets(after);
        journal.Write(ended.status, before, after);
        (void)std::fprintf(report.get(), "%ld\n", static_cast<long>(ended.process));
        for (const std::string& line : CompareTrees(before, after)) {
          (void)std::fprintf(report.get(), "%s\n", line.c_str());
        }
        (void)std::fflush(report.get());
      },
      rootOptions);
  std::rewind(report.get());
  Outcome outcome;
  outcome.changes = ReadLines(report.get());
  if (outcome.changes.empty()) return outcome;
  outcome.process = outcome.changes.front();
  outcome.changes.erase(outcome.changes.begin());
  return outcome;
}

void ProgramTest::SetUp() {
  // The sanitizer's own start needs /proc.
  const std::string whyNot = kHasAddressSanitizer ? WhyNoMounts() : WhyNoRoot();
  if (!whyNot.empty()) GTEST_SKIP() << whyNot;
}

std::string IconImage() {
  using std::string_literals::operator""s;
  // A signature, then the beginning of a header that tells 128 by 128 pixels.
  return "\x89PNG\r\n\x1A\n\0\0\0\x0DIHDR\0\0\0\x80\0\0\0\x80\x08\x06\0\0\0"s;
}

bool MakeDevice(const std::string& path, unsigned int major, unsigned int minor) {
  return mknod(path.c_str(), S_IFCHR | 0600, makedev(major, minor)) == 0;
}

#ifdef CLONE_NEWNS

void MountFolder(const std::string& source, const std::string& target) {
  if (mount(source.c_str(), target.c_str(), nullptr, MS_BIND, nullptr) != 0) {
    FailWithErrno("mount " + target);
  }
}

void MountMemory(const std::string& target, const std::string& limits) {
  if (mount("tmpfs", target.c_str(), "tmpfs", 0, (limits + ",mode=755").c_str()) != 0) {
    FailWithErrno("mount " + target);
  }
}

void MakeReadOnly(const std::string& target) {
  MountFolder(target, target);
  if (mount(nullptr, target.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) != 0) {
    FailWithErrno("mount " + target);
  }
}

#else

void MountFolder(const std::string&, const std::string&) { FAIL(); }
void MountMemory(const std::string&, const std::string&) { FAIL(); }
void MakeReadOnly(const std::string&) { FAIL(); }

#endif

void FillUpSpace(const std::string& folder) {
  const File file(std::fopen((folder + "/filler").c_str(), "we"));
  if (file == nullptr) return FailWithErrno(folder);
  (void)std::setvbuf(file.get(), nullptr, _IONBF, 0);
  while (std::fputc('x', file.get()) != EOF) {
  }
  EXPECT_EQ(errno, ENOSPC);
}

void FillUpNames(const std::string& folder) {
  for (int i = 0;; ++i) {
    const File file(std::fopen((folder + "/filler" + std::to_string(i)).c_str(), "we"));
    if (file == nullptr) break;
  }
  EXPECT_EQ(errno, ENOSPC);
}

}  // namespace test
