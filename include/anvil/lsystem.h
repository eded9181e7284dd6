/* Client of the command-execution daemon listening on the abstract stream
 * socket "execd".
 *
 * Request: the command and its NUL, at most 256 bytes. Reply: one native
 * 32-bit integer, handed back unchanged. One connection per command, so any
 * number of commands may be outstanding. A reply of -1 cannot be told apart
 * from a failure.
 */
#ifndef ANVIL_LSYSTEM_H
#define ANVIL_LSYSTEM_H

#include "anvil/defs.h"

ANVIL_BEGIN_DECLS

/* Runs command through the daemon and returns its result, or -1:
 * ENAMETOOLONG (command of 256 bytes or more, nothing sent), ECONNREFUSED
 * (no daemon), EPIPE (daemon gone while sending), ECONNRESET (daemon closed
 * without a full reply). The connection is always closed. */
ANVIL_API int lsystem(const char *command);

/* Sends command and returns the connected socket at once, or -1 with
 * ENAMETOOLONG, ECONNREFUSED or EPIPE as for lsystem and no socket left open.
 * The caller passes the socket to waitlsystema and then closes it. */
ANVIL_API int lsystema(const char *command);

/* Waits on a socket from lsystema for the daemon's result. Returns it, or -1
 * (ECONNRESET when the daemon closed early). Never closes fd. */
ANVIL_API int waitlsystema(int fd);

ANVIL_END_DECLS

#endif
