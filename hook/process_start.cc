#include "hook/process_start.h"

#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace hook {

namespace {

// A file always opens as the lowest number that is free, and that is the one at hand,
// because those below it are open by then. Standard streams are inherited.
void OpenMissingStandardStreams() {
  // NOLINTBEGIN(android-cloexec-open)
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    if (fcntl(stream, F_GETFD) == -1 && open("/dev/null", O_RDWR) == -1) (void)open("/", O_RDONLY);
  }
  // NOLINTEND(android-cloexec-open)
}

void IgnoreSignal(int signal) {
  struct sigaction action = {};
  action.sa_handler = SIG_IGN;
  (void)sigaction(signal, &action, nullptr);
}

// The umask can only be read by setting one; the one in between gives nothing away.
void RestrictUmask() {
  const mode_t found = umask(077);
  (void)umask(static_cast<mode_t>(found | 002));
}

}  // namespace

void PrepareProcess() {
  OpenMissingStandardStreams();
  IgnoreSignal(SIGPIPE);
  IgnoreSignal(SIGXFSZ);
  RestrictUmask();
}

}  // namespace hook
