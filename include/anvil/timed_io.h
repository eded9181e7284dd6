/* Timed writes: the twins of writen, writevn and sockwriten that wait for the
 * descriptor to become writable before every write, under a time limit, so
 * that a writer facing a peer that has stopped draining gives up.
 *
 * limit_ms bounds the sum of all the waits of one call, not each wait: the
 * time not slept by one wait is all that the next one gets, and time spent
 * inside the writes is not counted. Once the budget is spent, a wait only
 * polls. A limit of 0 or below waits without bound.
 *
 * Descriptors below FD_SETSIZE (1024) are waited for with select(2);
 * higher ones, which an fd_set cannot hold, with poll(2) under the same
 * budget and with the same results and messages.
 *
 * A failed wait ends the call with -1 and is not retried:
 *  - time-out: errno is not set (it keeps its value from before the call);
 *  - a failure of the wait (EBADF, ENOMEM, EINTR from a handled signal):
 *    errno from select or poll. A negative descriptor gives EBADF.
 * writens and writevns then print "[writens] select time out! ret=%d.\n"
 * (or "[writevns] ..."), with 0 for a time-out and -1 for a failure, on
 * standard output through stdio, flushed at once; errno survives the
 * printing. sockwritens prints nothing.
 *
 * Writes interrupted by a signal (EINTR) wait again and retry. A failure
 * after partial progress returns -1; the bytes already written are neither
 * reported nor undone. Nothing is allocated.
 */
#ifndef ANVIL_TIMED_IO_H
#define ANVIL_TIMED_IO_H

#include <stddef.h>
#include <sys/types.h>
#include <sys/uio.h>

#include "anvil/defs.h"

ANVIL_BEGIN_DECLS

/* Writes n bytes with write(2). Returns n; fewer when the device fills up,
 * with errno left at ENOSPC; -1 on a failed wait or on any other error.
 * n = 0 returns 0 without waiting. */
ANVIL_API ssize_t writens(int fd, int limit_ms, const void *buf, size_t n);

/* Writes the vector's buffers in order with writev(2), on a private copy of
 * the caller's array (never changed). Returns the total; fewer on ENOSPC;
 * -1 on a failed wait or any other error. A count of 0 returns 0 without
 * waiting; a negative count, or one above IOV_MAX (1024), gives -1 with
 * EINVAL before anything is copied, waited for or printed. */
ANVIL_API ssize_t writevns(int fd, int limit_ms, const struct iovec *iov, int entries);

/* Sends n bytes on a connected stream socket with send(MSG_NOSIGNAL).
 * Returns n, or -1 (a vanished peer gives EPIPE, never SIGPIPE; ENOSPC is an
 * error like any other). n = 0 returns 0 without waiting. */
ANVIL_API ssize_t sockwritens(int fd, int limit_ms, const void *buf, size_t n);

ANVIL_END_DECLS

#endif
