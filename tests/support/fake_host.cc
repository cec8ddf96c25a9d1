#include "tests/support/fake_host.h"

namespace test {

namespace {

// Hands out what the test put there; false, `out` unchanged, where that is nothing.
template <typename Value>
bool Answer(const std::optional<Value>& value, Value* out) {
  if (!value) return false;
  *out = *value;
  return true;
}

template <typename Key>
bool Answer(const std::map<Key, std::string>& values, const Key& key, std::string* out) {
  const auto found = values.find(key);
  if (found == values.end()) return false;
  *out = found->second;
  return true;
}

}  // namespace

bool FakeConsole::GetConsoleUser(platform::ConsoleUser* out) {
  record_->push_back("GetConsoleUser");
  return Answer(user, out);
}

bool FakeDirectories::FindDirectory(unsigned long domainMask, unsigned long directory,
                                    std::string* path) {
  record_->push_back("FindDirectory(" + std::to_string(domainMask) + "," +
                     std::to_string(directory) + ")");
  return Answer(folders, {domainMask, directory}, path);
}

std::optional<std::string> FakeDirectories::HomeDirectory() {
  record_->push_back("HomeDirectory");
  if (!tellsHome) return std::nullopt;
  return home;
}

bool FakeDirectories::HomeDirectoryForUser(const std::string& name, std::string* path) {
  record_->push_back("HomeDirectoryForUser(" + name + ")");
  return Answer(homes, name, path);
}

uid_t FakeIdentity::EffectiveUser() { return user; }

int FakeIdentity::SetEffectiveUser(uid_t newUser) {
  record_->push_back("SetEffectiveUser(" + std::to_string(newUser) + ")");
  if (error == 0) user = newUser;
  return error;
}

platform::TimeOfDay FakeClock::Now() { return now; }

bool FakeInfo::GetOperatingSystemVersion(platform::OperatingSystemVersion* out) {
  return Answer(version, out);
}

bool FakeInfo::HasMacOSVersionNumbers() { return hasMacOSVersionNumbers; }

std::vector<std::string> FakeInfo::PreferredLanguages() { return languages; }

std::string FakeInfo::CurrentLocaleIdentifier() { return localeIdentifier; }

bool FakeInfo::GetExecutablePath(std::string* path) { return Answer(executable, path); }

bool FakeInfo::GetBundlePath(std::string* path) { return Answer(bundle, path); }

bool FakeDesktop::SetFolderIcon(const std::string& iconFile, const std::string& folder) {
  record_->push_back("SetFolderIcon(" + iconFile + "," + folder + ")");
  return result;
}

FakeHost::FakeHost() {
  scope_->console = &console;
  scope_->directories = &directories;
  scope_->identity = &identity;
  scope_->clock = &clock;
  scope_->info = &info;
  scope_->desktop = &desktop;
}

}  // namespace test
