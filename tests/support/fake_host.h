#ifndef TESTS_SUPPORT_FAKE_HOST_H_
#define TESTS_SUPPORT_FAKE_HOST_H_

#include <map>
#include <optional>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

#include "platform/host.h"
#include "platform/host_for_testing.h"

// Stand-ins for the members of the host: they answer what they were told and record what they
// were asked, and know nothing else.

namespace test {

// The calls of all fakes of one FakeHost, in order, e.g. "GetConsoleUser",
// "SetEffectiveUser(501)", "FindDirectory(1,14)", "HomeDirectory",
// "HomeDirectoryForUser(mia)", "SetFolderIcon(/a.icns,/b)".
using CallRecord = std::vector<std::string>;

class FakeConsole final : public platform::ConsoleUserSource {
 public:
  explicit FakeConsole(CallRecord* record) : record_(record) {}
  std::optional<platform::ConsoleUser> user;
  [[nodiscard]] bool GetConsoleUser(platform::ConsoleUser* out) override;

 private:
  CallRecord* record_;
};

class FakeDirectories final : public platform::DirectoryLookup {
 public:
  explicit FakeDirectories(CallRecord* record) : record_(record) {}
  std::map<std::pair<unsigned long, unsigned long>, std::string> folders;  // (domain, directory)
  std::string home = "/home/nobody-in-particular";
  bool tellsHome = true;                     // or it cannot be looked up
  std::map<std::string, std::string> homes;  // by name
  [[nodiscard]] bool FindDirectory(unsigned long domainMask, unsigned long directory,
                                   std::string* path) override;
  [[nodiscard]] std::optional<std::string> HomeDirectory() override;
  [[nodiscard]] bool HomeDirectoryForUser(const std::string& name, std::string* path) override;

 private:
  CallRecord* record_;
};

class FakeIdentity final : public platform::ProcessIdentity {
 public:
  explicit FakeIdentity(CallRecord* record) : record_(record) {}
  uid_t user = 0;
  int error = 0;  // what SetEffectiveUser answers; not 0: nothing changes
  [[nodiscard]] uid_t EffectiveUser() override;  // not recorded
  [[nodiscard]] int SetEffectiveUser(uid_t newUser) override;

 private:
  CallRecord* record_;
};

class FakeClock final : public platform::Clock {
 public:
  platform::TimeOfDay now;  // stands still until told otherwise
  [[nodiscard]] platform::TimeOfDay Now() override;
};

class FakeInfo final : public platform::HostInfo {
 public:
  std::optional<platform::OperatingSystemVersion> version;
  bool hasMacOSVersionNumbers = false;
  std::vector<std::string> languages;
  std::string localeIdentifier;
  std::optional<std::string> executable;
  std::optional<std::string> bundle;
  [[nodiscard]] bool GetOperatingSystemVersion(platform::OperatingSystemVersion* out) override;
  [[nodiscard]] bool HasMacOSVersionNumbers() override;
  [[nodiscard]] std::vector<std::string> PreferredLanguages() override;
  [[nodiscard]] std::string CurrentLocaleIdentifier() override;
  [[nodiscard]] bool GetExecutablePath(std::string* path) override;
  [[nodiscard]] bool GetBundlePath(std::string* path) override;
};

class FakeDesktop final : public platform::Desktop {
 public:
  explicit FakeDesktop(CallRecord* record) : record_(record) {}
  bool result = true;
  bool SetFolderIcon(const std::string& iconFile, const std::string& folder) override;

 private:
  CallRecord* record_;
};

// All of them, in force for the life of the object.
struct FakeHost {
  FakeHost();
  CallRecord calls;
  FakeConsole console{&calls};
  FakeDirectories directories{&calls};
  FakeIdentity identity{&calls};
  FakeClock clock;
  FakeInfo info;
  FakeDesktop desktop{&calls};

 private:
  platform::ScopedHost scope_;
};

}  // namespace test

#endif  // TESTS_SUPPORT_FAKE_HOST_H_
