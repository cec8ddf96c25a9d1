#include "platform/system_calls.h"

#include <cstdio>
#include <ctime>
#include <libgen.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/system_calls_for_testing.h"
#include "platform/timed_semaphore.h"

namespace platform {

namespace {

// Its last argument is variadic.
int Semctl(int set, int semaphore, int command, SemaphoreArgument argument) {
  return ::semctl(set, semaphore, command, argument);
}

// In the order of the table and without its names: <libgen.h> makes a macro of `basename`.
constexpr SystemCalls kSystem = {
    ::read,      ::write,  ::fsync,      ::fstat,      ::fstatat,       ::close,   ::flock,
    ::ftruncate, ::fchmod, ::fchmodat,   ::fchown,     ::renameat,      ::mkdirat, ::unlinkat,
    ::remove,    ::uname,  ::getentropy, ::nanosleep,  ::clock_gettime, ::semget,  ::semop,
    TimedSemop,  Semctl,   ::getpwuid_r, ::getpwnam_r, ::basename,      ::dirname};

const SystemCalls* currentCalls = &kSystem;

}  // namespace

const SystemCalls& Calls() { return *currentCalls; }

ScopedSystemCalls::ScopedSystemCalls() : calls_(Calls()), previous_(currentCalls) {
  currentCalls = &calls_;
}

ScopedSystemCalls::~ScopedSystemCalls() { currentCalls = previous_; }

bool SystemCallsAreDefaultForTesting() { return currentCalls == &kSystem; }

}  // namespace platform
