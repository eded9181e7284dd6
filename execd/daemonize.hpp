// Detaching into the background, with the starter waiting until the daemon
// is ready so that it can report a failed start in its exit status.
#pragma once

namespace execd {

struct Detach {
    int notify_fd = -1;  // to the waiting starter; -1 when not detached
};

// Forks; the starter waits and exits with what the daemon reports. The
// daemon goes on in a new session. Returns false, errno set, when the fork
// fails (nothing has been detached then).
bool detach_begin(Detach *d);

// Tells the starter the daemon is ready (kExitOk) or why it gave up, and
// points standard input, output and error at /dev/null.
void detach_report(Detach *d, int exit_status);

// Makes sure descriptors 0, 1 and 2 are open, so that nothing opened later
// is taken for them.
void ensure_std_fds();

}  // namespace execd
