// Helpers shared by the test programs.
#pragma once

#include <cerrno>
#include <cstddef>

namespace anvil_test {

// The errno of a call that returned -1 (or NULL), or 0 when it did not fail.
template <class T> int fails(T result) { return result == -1 ? errno : 0; }
template <class T> int fails(T *result) { return result ? 0 : errno; }

// Number of open descriptors of this process (entries of /proc/self/fd).
int open_fd_count();

// Allocation failure injection. The test program interposes malloc, calloc
// and realloc; once armed, the first `successes` calls of the arming thread
// succeed and every call after them fails with ENOMEM until disarm().
// alloc_calls() counts the calls seen since the last arm.
void fail_alloc_after(int successes);
void disarm_alloc_failure();
int alloc_calls();

// System call failure injection. The test program interposes the calls the
// library makes (sockets, descriptor I/O, files and directories: see the
// list in fail_call.cpp); once armed, the
// nth call of `name` on this thread fails with `err` (a close still releases
// its descriptor). disarm_call_failure() returns whether that call was made.
void fail_call(const char *name, int nth, int err);
bool disarm_call_failure();

// Moves this process into a private network namespace, so that abstract
// socket names (such as "execd") cannot meet anything outside the test.
// Returns false where that is not permitted.
bool enter_private_netns();

// Moves this process into a private mount namespace with every mount private,
// so that what the tests mount (a small tmpfs on /var/run, say) is seen by
// nobody outside it. Returns false where that is not permitted.
bool enter_private_mountns();

// Mounts a new tmpfs of at most `bytes` on the existing directory `dir`.
// Returns false, errno set, on failure.
bool mount_tmpfs(const char *dir, size_t bytes);

}  // namespace anvil_test
