/* Whole-buffer descriptor I/O.
 *
 * Every transfer loops over short transfers and retries calls interrupted by
 * a signal (EINTR), so the caller sees one result for the whole buffer.
 * A length of 0 returns 0 without any system call. A failure after partial
 * progress returns -1; the bytes already moved are neither reported nor undone.
 */
#ifndef ANVIL_IO_H
#define ANVIL_IO_H

#include <stddef.h>
#include <sys/types.h>

#include "anvil/defs.h"

ANVIL_BEGIN_DECLS

/* Reads up to n bytes with read(2). Returns n, fewer at end of file, or -1
 * with read's errno (EAGAIN on an empty non-blocking descriptor). */
ANVIL_API ssize_t readn(int fd, void *buf, size_t n);

/* Writes n bytes with write(2). Returns n; fewer when the device fills up,
 * with errno left at ENOSPC; or -1 with write's errno. */
ANVIL_API ssize_t writen(int fd, const void *buf, size_t n);

/* Receives exactly n bytes from a connected stream socket with
 * recv(MSG_WAITALL). Returns n, or -1; a peer that closes before n bytes
 * have arrived gives ECONNRESET. */
ANVIL_API ssize_t sockreadn(int fd, void *buf, size_t n);

/* Sends n bytes on a connected stream socket with send(MSG_NOSIGNAL).
 * Returns n, or -1; a vanished peer gives EPIPE and never raises SIGPIPE. */
ANVIL_API ssize_t sockwriten(int fd, const void *buf, size_t n);

/* Adds flags (such as FD_CLOEXEC) to the descriptor flags: F_GETFD, then
 * F_SETFD with old | flags. Never clears a flag. Returns 0, or -1 with the
 * errno of fcntl (EBADF when fd is not open). */
ANVIL_API int fcntl_setfd(int fd, int flags);

/* Adds flags (such as O_NONBLOCK) to the file status flags: F_GETFL, then
 * F_SETFL with old | flags. Never clears a flag. Returns 0, or -1 with the
 * errno of fcntl (EBADF when fd is not open). */
ANVIL_API int fcntl_setfl(int fd, int flags);

ANVIL_END_DECLS

#endif
