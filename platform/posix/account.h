#ifndef PLATFORM_POSIX_ACCOUNT_H_
#define PLATFORM_POSIX_ACCOUNT_H_

#include <optional>
#include <string>
#include <sys/types.h>

namespace platform {

// An entry of the account database.
struct Account {
  std::string name;
  uid_t uid = 0;
  gid_t gid = 0;
  std::string home;  // as it is written there
};

// No value where there is no such entry; an empty name and one that holds a NUL
// byte have none.
[[nodiscard]] std::optional<Account> FindAccountByUid(uid_t uid);
[[nodiscard]] std::optional<Account> FindAccountByName(const std::string& name);

}  // namespace platform

#endif  // PLATFORM_POSIX_ACCOUNT_H_
