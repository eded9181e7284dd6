/* Receiving one NUL-terminated string of unknown length from a connected
 * stream socket.
 *
 * The string ends where a delivery of recv(2) ends with a NUL byte; only the
 * last byte of each delivery is looked at. A sender therefore sends one
 * string with its terminator and nothing more until it has had an answer.
 */
#ifndef ANVIL_RECVSTR_H
#define ANVIL_RECVSTR_H

#include "anvil/defs.h"

ANVIL_BEGIN_DECLS

/* Receives a string and returns it in one newly allocated buffer, which the
 * caller releases with free(). The buffer is a multiple of 4096 bytes; bytes
 * that arrived together with the terminator follow it, and the rest after
 * them is not initialised. Strings of up to 4096 bytes with the terminator
 * cost one allocation and are never copied. Blocks as the socket blocks and
 * retries EINTR. Returns NULL with recv's errno (EAGAIN on an empty
 * non-blocking socket), ECONNRESET when the peer closes before the
 * terminator, or ENOMEM; the bytes received so far are then lost. */
ANVIL_API char *recvstr(int fd);

ANVIL_END_DECLS

#endif
