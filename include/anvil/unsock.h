/* Local AF_UNIX endpoints named in the Linux abstract namespace.
 *
 * A name is a NUL-terminated string (never NULL); at most its first 106 bytes
 * are used, so longer names that agree in those bytes meet. The kernel sees
 * the address family, a 0 byte and the name bytes: name length + 3 bytes,
 * 8 for "execd". Nothing is created in the file system.
 *
 * Sockets are created blocking and without close-on-exec; the caller owns
 * and closes every returned descriptor. On failure any socket created on the
 * way is closed and errno is that of the failing call.
 */
#ifndef ANVIL_UNSOCK_H
#define ANVIL_UNSOCK_H

#include "anvil/defs.h"

ANVIL_BEGIN_DECLS

/* A SOCK_STREAM socket bound to name, listening with a backlog of 32, or -1
 * (EADDRINUSE when the name is taken). */
ANVIL_API int listenUnTcpSock(const char *name);

/* Accepts one connection on a listening socket, retrying EINTR.
 * Returns the connection's descriptor, or -1. */
ANVIL_API int acceptUnTcpSock(int listenfd);

/* A SOCK_DGRAM socket bound to name, or -1. */
ANVIL_API int bindUnUdpSock(const char *name);

/* A socket of the given type (SOCK_STREAM or SOCK_DGRAM) connected to name,
 * or -1 (ECONNREFUSED when nothing is bound there; EINTR is not retried). */
ANVIL_API int connectUnSock(const char *name, int type);

ANVIL_END_DECLS

#endif
