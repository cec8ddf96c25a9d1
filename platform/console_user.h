#ifndef PLATFORM_CONSOLE_USER_H_
#define PLATFORM_CONSOLE_USER_H_

#include <string>
#include <sys/types.h>

namespace platform {

struct ConsoleUser {
  std::string name;  // UTF-8
  uid_t uid = 0;
  gid_t gid = 0;
};

// Who sits at the console: SCDynamicStoreCopyConsoleUser without a store.
class ConsoleUserSource {
 public:
  // True with the platform's answer, also where that names the login window;
  // false, `user` unchanged, where it names nobody.
  //
  // POSIX half: the active session of seat0 as the login manager tells it, else
  // the owner of /dev/console where that is not root. Root, a greeter and a user
  // without an account are nobody, and so is one whose account cannot be looked
  // up just now. On a machine that runs no login manager nothing is loaded in
  // order to ask it.
  [[nodiscard]] virtual bool GetConsoleUser(ConsoleUser* user) = 0;

 protected:
  ~ConsoleUserSource() = default;
};

}  // namespace platform

#endif  // PLATFORM_CONSOLE_USER_H_
