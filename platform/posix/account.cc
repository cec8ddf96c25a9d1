#include "platform/posix/account.h"

#include <cerrno>
#include <cstddef>
#include <pwd.h>
#include <vector>

namespace platform {
namespace {

constexpr std::size_t kFirstBufferBytes = 1024;
constexpr std::size_t kLastBufferBytes = std::size_t{1} << 20;

// `lookup` is getpwuid_r or getpwnam_r with its key bound.
template <typename Lookup>
std::optional<Account> Find(const Lookup& lookup) {
  std::vector<char> buffer(kFirstBufferBytes);
  passwd entry{};
  passwd* found = nullptr;
  while (lookup(&entry, buffer.data(), buffer.size(), &found) == ERANGE &&
         buffer.size() < kLastBufferBytes) {
    buffer.resize(2 * buffer.size());
  }
  if (found == nullptr) return std::nullopt;
  return Account{entry.pw_name, entry.pw_uid, entry.pw_gid, entry.pw_dir};
}

}  // namespace

std::optional<Account> FindAccountByUid(uid_t uid) {
  return Find([uid](passwd* entry, char* buffer, std::size_t size, passwd** found) {
    return getpwuid_r(uid, entry, buffer, size, found);
  });
}

std::optional<Account> FindAccountByName(const std::string& name) {
  if (name.empty() || name.find('\0') != std::string::npos) return std::nullopt;
  return Find([&name](passwd* entry, char* buffer, std::size_t size, passwd** found) {
    return getpwnam_r(name.c_str(), entry, buffer, size, found);
  });
}

}  // namespace platform
