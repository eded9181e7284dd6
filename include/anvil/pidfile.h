/* Single-instance guards: a pid file "/var/run/<name>.pid" holding the
 * owner's pid and a line feed ("%d\n"), created with mode 0644 (before the
 * umask). The name is used unchanged, '/' included. The library never removes
 * a pid file.
 */
#ifndef ANVIL_PIDFILE_H
#define ANVIL_PIDFILE_H

#include "anvil/defs.h"

ANVIL_BEGIN_DECLS

/* Makes this process the one running instance of name while it lives: opens
 * (creating, never truncating first) the pid file, takes an exclusive
 * non-blocking flock on it, then replaces its content by this pid. The
 * descriptor (O_CLOEXEC) stays open, unreachable, until the process ends, and
 * the kernel drops the lock with it; a file left by an ended instance blocks
 * nobody. A child made by fork shares the lock until it executes a program.
 * The path is cut to 127 characters, so names over 114 characters lose the
 * ".pid" ending.
 * Returns 0; -1 with EWOULDBLOCK while another open file holds the lock (a
 * second call in the same process included; the file keeps the owner's pid),
 * or with the errno of open (ENOENT, EACCES, EROFS), ftruncate or the write;
 * on failure no descriptor is left open. */
ANVIL_API int ensureOnlyoneProcessEntity(const char *name);

/* Claims name once: creates the pid file exclusively, writes this pid
 * (a failed write is not reported) and closes it; no lock is kept. Once the
 * file exists every call fails, from any process, until something else
 * removes it. The path is cut to 255 characters (names up to 242 complete).
 * Returns 0; -1 with EEXIST when the file exists, or with open's errno. */
ANVIL_API int ensureProcessOnlyRunOnce(const char *name);

ANVIL_END_DECLS

#endif
