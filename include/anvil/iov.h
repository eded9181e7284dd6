/* I/O vector helpers: a position kept across partial transfers, cutting a
 * vector to a length, and copying between flat buffers and vectors.
 *
 * None of these allocates, locks, checks its arguments or sets errno. Their
 * limits are the caller's: iov_iter_advance never moves past count, and the
 * copies never walk past the bytes the vector holds.
 */
#ifndef ANVIL_IOV_H
#define ANVIL_IOV_H

#include <stddef.h>
#include <sys/uio.h>

#include "anvil/defs.h"

ANVIL_BEGIN_DECLS

/* A position within a caller-owned array of struct iovec. The iterator never
 * changes the array; only iov_iter_advance changes the iterator. */
struct iov_iter {
    const struct iovec *seg; /* the current segment */
    unsigned nr_segs;        /* segments left, the current one included */
    size_t seg_offset;       /* bytes of the current segment already moved */
    size_t count;            /* bytes left over the remaining segments */
};

/* Moves it forward by bytes (at most it->count). With one segment left only
 * seg_offset and count change; otherwise whole segments are stepped over and
 * so are empty ones, so the iterator never rests on an empty segment while
 * count is above 0. */
ANVIL_API void iov_iter_advance(struct iov_iter *it, size_t bytes);

/* Bytes left in the current segment: count when it is the last one,
 * otherwise the smaller of count and its length - seg_offset. */
ANVIL_API size_t iov_iter_single_seg_count(const struct iov_iter *it);

/* Returns how many of the first entries hold the first target bytes and cuts
 * the last of them to fit (a target of 0 cuts the first to length 0). When
 * the vector holds fewer than target bytes, returns entries and changes
 * nothing. Entries after the returned count are left as they were. */
ANVIL_API unsigned iov_shorten(struct iovec *iov, unsigned entries, size_t target);

/* Copies len bytes from the start of the vector into buf, passing over empty
 * entries. The vector must hold at least len bytes. */
ANVIL_API void memcpy_fromiovec(void *buf, const struct iovec *iov, size_t len);

/* Copies len bytes from buf into the memory the vector describes, from its
 * start. The entries themselves are not changed. */
ANVIL_API void memcpy_toiovec(const struct iovec *iov, const void *buf, size_t len);

/* Copies len bytes into buf from offset bytes into the vector. offset must be
 * below the vector's total (the vector is walked to it even when len is 0),
 * and offset + len at most that total. */
ANVIL_API void memcpy_fromiovecend(void *buf, const struct iovec *iov, size_t offset,
                                   size_t len);

/* Copies len bytes from buf to offset bytes into the vector; offset + len at
 * most the vector's total. With len 0 no entry is looked at. */
ANVIL_API void memcpy_toiovecend(const struct iovec *iov, const void *buf, size_t offset,
                                 size_t len);

ANVIL_END_DECLS

#endif
