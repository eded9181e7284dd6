/* Whole-vector descriptor I/O: readv and writev looped over short transfers,
 * with the end-of-transfer rules of readn and writen (anvil/io.h).
 *
 * The caller's array is only read: each call works on a private copy of it,
 * trimmed as the transfer advances, so that every further system call starts
 * at the first byte not yet moved. Nothing is allocated. EINTR is retried in
 * place. A failure after partial progress returns -1; the bytes already moved
 * are neither reported nor undone.
 *
 * entries must be 0 to IOV_MAX (1024): a negative count or a larger one gives
 * -1 with EINVAL before anything is copied or called. A count of 0 returns 0
 * without any system call; entries holding 0 bytes in all return 0 after one.
 */
#ifndef ANVIL_VECTORED_IO_H
#define ANVIL_VECTORED_IO_H

#include <sys/types.h>
#include <sys/uio.h>

#include "anvil/defs.h"

ANVIL_BEGIN_DECLS

/* Fills the vector's buffers in order with readv(2). Returns the vector's
 * total, fewer at end of file, or -1 with readv's errno. */
ANVIL_API ssize_t readvn(int fd, const struct iovec *iov, int entries);

/* Writes the vector's buffers in order with writev(2). Returns the vector's
 * total; fewer when the device fills up, with errno left at ENOSPC; or -1
 * with writev's errno (EINVAL for a total above SSIZE_MAX). */
ANVIL_API ssize_t writevn(int fd, const struct iovec *iov, int entries);

ANVIL_END_DECLS

#endif
