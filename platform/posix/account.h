#ifndef PLATFORM_POSIX_ACCOUNT_H_
#define PLATFORM_POSIX_ACCOUNT_H_

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

// Finds the entry of a user in the account database, by number or by name. An
// empty name and one that holds a NUL byte have none.
//
// Returns 0; ENOENT where there is no such entry; another error number where
// the database could not be asked or read (EMFILE, EIO, ENOMEM, ...; ERANGE for
// an entry of more than 1 MiB), so that nobody knows whether there is one.
// `account` is unchanged on failure.
[[nodiscard]] int FindAccountByUid(uid_t uid, Account* account);
[[nodiscard]] int FindAccountByName(const std::string& name, Account* account);

}  // namespace platform

#endif  // PLATFORM_POSIX_ACCOUNT_H_
