#include "platform/console_user.h"

#include <cstdlib>
#include <dlfcn.h>
#include <memory>
#include <optional>
#include <string_view>
#include <sys/stat.h>
#include <systemd/sd-login.h>
#include <utility>

#include "platform/item_query.h"
#include "platform/posix/account.h"
#include "platform/posix/host_parts.h"

namespace platform {
namespace {

// Root at the console is nobody, so its number can stand for nobody.
constexpr uid_t kNobody = 0;

struct CloseLibrary {
  void operator()(void* library) const { (void)dlclose(library); }
};

struct FreeText {
  void operator()(char* text) const { std::free(text); }
};
using Text = std::unique_ptr<char, FreeText>;

// Who the login manager says is at the console. No value where it says nothing: it does not run,
// it knows no active session, its library is missing.
std::optional<uid_t> AskLoginManager() {
  if (!ItemExists("/run/systemd/seats/seat0", nullptr)) return std::nullopt;
  const std::unique_ptr<void, CloseLibrary> library(
      dlopen("libsystemd.so.0", RTLD_NOW | RTLD_LOCAL));
  if (library == nullptr) return std::nullopt;
  const auto getActive =
      reinterpret_cast<decltype(&sd_seat_get_active)>(dlsym(library.get(), "sd_seat_get_active"));
  const auto getClass = reinterpret_cast<decltype(&sd_session_get_class)>(
      dlsym(library.get(), "sd_session_get_class"));
  if (getActive == nullptr || getClass == nullptr) return std::nullopt;

  char* text = nullptr;
  uid_t user = kNobody;
  if (getActive("seat0", &text, &user) < 0) return std::nullopt;
  const Text session(text);
  if (getClass(session.get(), &text) < 0) return std::nullopt;
  const Text sessionClass(text);
  // "user", with a suffix ("user-early") where a variant of it is meant. All others ("greeter",
  // "lock-screen", "background", "manager", ...) are sessions that no person sits at.
  return std::string_view(sessionClass.get()).starts_with("user") ? user : kNobody;
}

uid_t OwnerOfConsoleDevice() {
  struct stat info {};
  return stat("/dev/console", &info) == 0 && S_ISCHR(info.st_mode) ? info.st_uid : kNobody;
}

class SeatUser final : public ConsoleUserSource {
 public:
  bool GetConsoleUser(ConsoleUser* user) override {
    const std::optional<uid_t> active = AskLoginManager();
    const uid_t uid = active ? *active : OwnerOfConsoleDevice();
    if (uid == kNobody) return false;
    Account account;
    if (FindAccountByUid(uid, &account) != 0) return false;
    *user = {std::move(account.name), account.uid, account.gid};
    return true;
  }
};

}  // namespace

ConsoleUserSource& PosixConsoleUserSource() {
  static SeatUser source;
  return source;
}

}  // namespace platform
