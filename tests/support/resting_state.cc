#include "tests/support/resting_state.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <dirent.h>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <set>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace test {

namespace {

std::vector<std::function<std::string()>>& Checks() {
  // Made on first use: checks of other files register themselves before main.
  static std::vector<std::function<std::string()>> checks;
  return checks;
}

std::set<int> OpenDescriptors() {
  std::set<int> open;
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir("/dev/fd"), closedir);
  if (folder == nullptr) return open;
  while (const dirent* entry = readdir(folder.get())) {
    char* end = nullptr;
    const long fd = std::strtol(entry->d_name, &end, 10);
    if (end != entry->d_name) open.insert(static_cast<int>(fd));
  }
  open.erase(dirfd(folder.get()));
  return open;
}

std::optional<std::string> EnvironmentValue(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr) return std::nullopt;
  return value;
}

mode_t Umask() {
  const mode_t mask = umask(0);
  umask(mask);
  return mask;
}

std::string WorkingFolder() {
  const std::unique_ptr<char, void (*)(void*)> path(getcwd(nullptr, 0), std::free);
  return path == nullptr ? "" : path.get();
}

bool IsIgnored(int signal) {
  struct sigaction action = {};
  sigaction(signal, nullptr, &action);
  return action.sa_handler == SIG_IGN;
}

struct ProcessState {
  uid_t effectiveUser = geteuid();
  mode_t umask = Umask();
  std::string workingFolder = WorkingFolder();
  std::optional<std::string> timeZone = EnvironmentValue("TZ");
  std::optional<std::string> language = EnvironmentValue("LANG");
  std::set<int> descriptors = OpenDescriptors();
  std::array<bool, 2> signalsIgnored = {IsIgnored(SIGPIPE), IsIgnored(SIGXFSZ)};
};

const ProcessState& StateAtStart() {
  static const ProcessState state;
  return state;
}

std::string DescribeDescriptors(const std::set<int>& before, const std::set<int>& after) {
  std::string text;
  for (const int fd : after) {
    if (before.count(fd) == 0) text += "descriptor " + std::to_string(fd) + " left open\n";
  }
  for (const int fd : before) {
    if (after.count(fd) == 0) text += "descriptor " + std::to_string(fd) + " closed\n";
  }
  return text;
}

std::string DescribeProcess() {
  const ProcessState& before = StateAtStart();
  const ProcessState after;
  std::string text;
  if (after.effectiveUser != before.effectiveUser) text += "effective user changed\n";
  if (after.umask != before.umask) text += "umask changed\n";
  if (after.workingFolder != before.workingFolder) text += "working folder changed\n";
  if (after.timeZone != before.timeZone) text += "TZ changed\n";
  if (after.language != before.language) text += "LANG changed\n";
  if (after.signalsIgnored[0] != before.signalsIgnored[0]) text += "SIGPIPE changed\n";
  if (after.signalsIgnored[1] != before.signalsIgnored[1]) text += "SIGXFSZ changed\n";
  return text + DescribeDescriptors(before.descriptors, after.descriptors);
}

class Listener final : public testing::EmptyTestEventListener {
  void OnTestEnd(const testing::TestInfo& /*info*/) override {
    const std::string unrest = DescribeUnrest();
    if (!unrest.empty()) ADD_FAILURE() << "left behind by this test or an earlier one:\n" << unrest;
  }
};

}  // namespace

RestingStateCheck::RestingStateCheck(std::function<std::string()> check) {
  Checks().push_back(std::move(check));
}

std::string DescribeUnrest() {
  std::string text = DescribeProcess();
  for (const std::function<std::string()>& check : Checks()) {
    const std::string unrest = check();
    if (!unrest.empty()) text += unrest + "\n";
  }
  return text;
}

void InstallRestingStateListener() {
  (void)StateAtStart();
  testing::UnitTest::GetInstance()->listeners().Append(new Listener);
}

}  // namespace test
