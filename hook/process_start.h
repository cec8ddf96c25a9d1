#ifndef HOOK_PROCESS_START_H_
#define HOOK_PROCESS_START_H_

namespace hook {

// Process-wide: makes a process that was started anyhow fit to work. Descriptors 0 to 2
// are open afterwards (on the null device, or on "/" for reading where that cannot be
// had), so that no file that is opened later is taken for a standard stream. SIGPIPE and
// SIGXFSZ are ignored, so that a closed pipe or a size limit is an error and not the end.
// The umask gets the bit 002 and keeps those it has, so that nothing new is writable by
// everybody by accident.
void PrepareProcess();

}  // namespace hook

#endif  // HOOK_PROCESS_START_H_
