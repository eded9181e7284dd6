/* Passing open descriptors between processes over a connected AF_UNIX socket.
 *
 * One message carries one block of data (at least one byte) and one
 * SCM_RIGHTS control message holding one descriptor. On 32-bit ARM the
 * control message is 16 bytes: cmsg_len 16, cmsg_level SOL_SOCKET (1),
 * cmsg_type SCM_RIGHTS (1), the descriptor. The message has no address.
 *
 * A received descriptor is a new one for the same open file description
 * (offset and status flags shared with the sender's); it belongs to the
 * caller, who closes it, and it is not close-on-exec (see fcntl_setfd).
 * A message that is refused leaves no received descriptor open.
 * Interrupted calls (EINTR) are retried in place.
 */
#ifndef ANVIL_FD_PASSING_H
#define ANVIL_FD_PASSING_H

#include <stddef.h>
#include <sys/types.h>

#include "anvil/defs.h"

ANVIL_BEGIN_DECLS

/* Sends fd with len bytes of data in one sendmsg(MSG_NOSIGNAL). Returns the
 * bytes of data sent, possibly fewer than len (the rest is not sent), or -1:
 * EINVAL for fd < 0, data NULL or len 0 (nothing sent); otherwise sendmsg's
 * errno (EPIPE when the peer has gone; SIGPIPE is never raised). */
ANVIL_API ssize_t sendFdAndDataByUnSock(int sock, int fd, const void *data, size_t len);

/* Receives one message into buf, of *len bytes, and returns the descriptor
 * it carried (0 or above). On return *len holds the bytes of data received.
 * -1 with:
 *  EINVAL       buf NULL, len NULL or *len 0: nothing received;
 *  ECONNRESET   the peer has closed: *len unchanged;
 *  EPROTOTYPE   data without one descriptor (or with another kind of control
 *               message): the data is in buf and *len is stored;
 *  ERANGE       the descriptor in the message is negative: as for EPROTOTYPE;
 *  or recvmsg's errno. Further descriptors in one message are not kept. */
ANVIL_API int recvFdAndDataByUnSock(int sock, void *buf, size_t *len);

/* Receives a descriptor sent with 1 to 4 bytes of data, which are discarded
 * (on a stream socket, further bytes stay for later reads). Returns the
 * descriptor, or -1 as recvFdAndDataByUnSock. */
ANVIL_API int recvFdByUnSock(int sock);

ANVIL_END_DECLS

#endif
