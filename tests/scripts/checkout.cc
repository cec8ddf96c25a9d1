#include "tests/scripts/checkout.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <initializer_list>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/files.h"

namespace test {

namespace {

// What the scripts take from every system.
constexpr const char* kTools[] = {"awk",   "basename", "cat",  "chmod", "cp",      "cut",   "date",
                                  "diff",  "dirname",  "env",  "find",  "getconf", "grep",  "head",
                                  "id",    "ln",       "ls",   "mkdir", "mktemp",  "mv",    "rm",
                                  "sed",   "sh",       "sort", "tail",  "tee",     "touch", "tr",
                                  "uname", "wc",       "xargs"};

std::string FindTool(const std::string& name) {
  for (const char* const folder : {"/usr/bin/", "/bin/"}) {
    if (access((folder + name).c_str(), X_OK) == 0) return folder + name;
  }
  return "";
}

int StatusOf(pid_t child) {
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void MakeStandard(int stream, const std::string& file) {
  const int fd = open(file.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0666);
  dup2(fd, stream);
  close(fd);
}

// All that is written to a terminal, without the returns before its line ends.
std::string ReadTerminal(int terminal) {
  std::string text;
  std::array<char, 4096> chunk = {};
  for (;;) {
    // Fails where nobody has the other end open any more.
    const ssize_t count = read(terminal, chunk.data(), chunk.size());
    if (count <= 0) break;
    text.append(chunk.data(), static_cast<std::size_t>(count));
  }
  text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
  return text;
}

}  // namespace

Checkout::Checkout() {
  const std::filesystem::path source = ZINT_SOURCE;
  MakeDirs(Path());
  MakeDirs(folder_.Join("bin"));
  std::filesystem::copy(source / "script", Join("script"));
  std::filesystem::copy(source / "CMakePresets.json", Path());
  std::filesystem::copy(source / "CMakeLists.txt", Path());
  for (const std::string name : kTools) {
    if (const std::string tool = FindTool(name); !tool.empty()) {
      MakeLink(folder_.Join("bin/" + name), tool);
    }
  }
  MakeLink(folder_.Join("bin/cmake"), ZINT_CMAKE);
}

void Checkout::PutCommand(const std::string& name, const std::string& text) const {
  const std::string path = folder_.Join("bin/" + name);
  (void)unlink(path.c_str());
  PutFile(path, "#!/bin/sh\n" + text + "\n");
  SetMode(path, 0755);
}

void Checkout::PutAllThatIsNeeded() const {
  PutCommand("uname", "echo Linux");
  for (const char* const name : {"g++", "clang++", "ninja", "pkg-config"}) PutCommand(name, "");
  PutCommand("dpkg-query", R"(for word; do printf 'installed:%s ' "$word"; done)");
}

void Checkout::Execute(const std::string& words) const {
  const std::string path = "PATH=" + folder_.Join("bin");
  const std::string line = "exec " + words;
  std::array<const char*, 4> arguments = {"sh", "-c", line.c_str(), nullptr};
  std::array<const char*, 3> environment = {path.c_str(), "LC_ALL=C", nullptr};
  if (chdir(Path().c_str()) == 0) {
    execve("/bin/sh", const_cast<char* const*>(arguments.data()),
           const_cast<char* const*>(environment.data()));
  }
  _exit(127);
}

Outcome Checkout::Run(const std::string& words, uid_t user) const {
  const std::string output = folder_.Join("output");
  const std::string message = folder_.Join("message");
  const pid_t child = fork();
  if (child == 0) {
    MakeStandard(STDIN_FILENO, "/dev/null");
    MakeStandard(STDOUT_FILENO, output);
    MakeStandard(STDERR_FILENO, message);
    if (user != 0 && (setgid(user) != 0 || setuid(user) != 0)) _exit(126);
    Execute(words);
  }
  Outcome outcome = {.status = StatusOf(child), .output = "", .message = ""};
  outcome.output = GetFile(output).value_or("");
  outcome.message = GetFile(message).value_or("");
  return outcome;
}

Outcome Checkout::RunOnTerminal(const std::string& words) const {
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
  EXPECT_EQ(grantpt(terminal), 0);
  EXPECT_EQ(unlockpt(terminal), 0);
  const std::string device = ptsname(terminal);
  const pid_t child = fork();
  if (child == 0) {
    close(terminal);
    (void)setsid();
    const int stream = open(device.c_str(), O_RDWR);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(stream, standard);
    if (stream > STDERR_FILENO) close(stream);
    Execute(words);
  }
  // Open here too until the child has ended: reading fails while nobody has opened it yet.
  const int stream = open(device.c_str(), O_RDWR | O_NOCTTY);
  Outcome outcome = {.status = StatusOf(child), .output = "", .message = ""};
  close(stream);
  outcome.output = ReadTerminal(terminal);
  close(terminal);
  return outcome;
}

std::vector<std::string> Checkout::Commands() const {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(Join("script"))) {
    if (entry.path().extension() != ".sh") names.push_back(entry.path().filename());
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace test
