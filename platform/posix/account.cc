#include "platform/posix/account.h"

#include <cerrno>
#include <cstddef>
#include <pwd.h>
#include <string>
#include <vector>

#include "platform/system_calls.h"

namespace platform {
namespace {

constexpr std::size_t kFirstBufferBytes = 1024;
constexpr std::size_t kLastBufferBytes = std::size_t{1} << 20;

// A missing entry is no error by POSIX. Where the database as a whole is missing, or a service
// behind it does not know the user, the result is ENOENT or ESRCH. getpwnam(3) lists EBADF and
// EPERM for a missing entry, too. That is said of other systems, and of calls that report by errno.
// Here they mean that the database could not be read.
bool MeansNoEntry(int error) { return error == 0 || error == ENOENT || error == ESRCH; }

// `lookup` is getpwuid_r or getpwnam_r with its key bound.
template <typename Lookup>
int Find(const Lookup& lookup, Account* account) {
  std::vector<char> buffer(kFirstBufferBytes);
  passwd entry{};
  passwd* found = nullptr;
  int error = 0;
  do {
    if (error == ERANGE) buffer.resize(2 * buffer.size());
    error = lookup(&entry, buffer.data(), buffer.size(), &found);
  } while (error == EINTR || (error == ERANGE && buffer.size() < kLastBufferBytes));
  if (error != 0 || found == nullptr) return MeansNoEntry(error) ? ENOENT : error;
  *account = {entry.pw_name, entry.pw_uid, entry.pw_gid, entry.pw_dir};
  return 0;
}

}  // namespace

int FindAccountByUid(uid_t uid, Account* account) {
  return Find([uid](passwd* entry, char* buffer, std::size_t size,
                    passwd** found) { return Calls().getpwuid_r(uid, entry, buffer, size, found); },
              account);
}

int FindAccountByName(const std::string& name, Account* account) {
  if (name.empty() || name.find('\0') != std::string::npos) return ENOENT;
  return Find(
      [&name](passwd* entry, char* buffer, std::size_t size, passwd** found) {
        return Calls().getpwnam_r(name.c_str(), entry, buffer, size, found);
      },
      account);
}

}  // namespace platform
