/* Ring buffer: a fixed-capacity first-in, first-out buffer of fixed-size
 * elements.
 *
 * The capacity is a power of two and the positions are two free-running
 * 32-bit counters, so the buffer stays right when they wrap. Elements go in
 * and out either by copy (write, read) or in place: reserve hands out free
 * room that commit then adds, peek hands out stored elements that decommit
 * then removes. Whenever a read or decommit empties the buffer both counters
 * go back to 0, so the next producer starts at the beginning of the storage.
 *
 * All counts are in elements, never bytes. Only create sets errno; the other
 * calls report how much they did. No function checks the handle for NULL and
 * nothing is locked: callers serialise every call on one buffer, consumer's
 * calls included, since the reset on draining touches both counters.
 */
#ifndef ANVIL_RING_BUFFER_H
#define ANVIL_RING_BUFFER_H

#include <stdint.h>

#include "anvil/defs.h"

ANVIL_BEGIN_DECLS

typedef struct ring_buffer ring_buffer;

/* A new, empty buffer of capacity elements, rounded up to a power of two,
 * of element_size bytes each, with zero-filled storage. Note the order:
 * capacity first. Returns NULL with EINVAL when capacity is below 2 or above
 * 2^31, element_size is 0, or the storage would not fit in 32 bits of bytes;
 * NULL with ENOMEM when out of memory. */
ANVIL_API ring_buffer *ring_buffer_create(uint32_t capacity, uint32_t element_size);

/* Frees the storage and the handle. */
ANVIL_API void ring_buffer_destroy(ring_buffer *rb);

/* Empties the buffer without touching the storage. */
ANVIL_API void ring_buffer_reset(ring_buffer *rb);

/* The number of stored elements. */
ANVIL_API uint32_t ring_buffer_len(const ring_buffer *rb);

/* 1 when nothing is stored, else 0. */
ANVIL_API int ring_buffer_empty(const ring_buffer *rb);

/* 1 when no room is left, else 0. */
ANVIL_API int ring_buffer_full(const ring_buffer *rb);

/* Copies up to count elements from src into the buffer, as many as there is
 * room for; nothing stored is overwritten. Returns the number copied. */
ANVIL_API uint32_t ring_buffer_write(ring_buffer *rb, const void *src, uint32_t count);

/* Copies up to count of the oldest elements out to dst and removes them.
 * Returns the number copied. */
ANVIL_API uint32_t ring_buffer_read(ring_buffer *rb, void *dst, uint32_t count);

/* Free room at the write end, never running past the end of the storage: its
 * size is stored in *count and its address returned; NULL with *count 0 when
 * the buffer is full. Nothing is recorded until ring_buffer_commit. */
ANVIL_API void *ring_buffer_reserve(ring_buffer *rb, uint32_t *count);

/* Adds count elements, filled in place after ring_buffer_reserve, to the
 * contents; never more than there is room for. Returns the number added. */
ANVIL_API uint32_t ring_buffer_commit(ring_buffer *rb, uint32_t count);

/* The oldest stored elements, never running past the end of the storage:
 * their number is stored in *count and their address returned; NULL with
 * *count 0 when the buffer is empty. Nothing is removed until
 * ring_buffer_decommit. */
ANVIL_API void *ring_buffer_peek(ring_buffer *rb, uint32_t *count);

/* Removes up to count of the oldest elements, typically after
 * ring_buffer_peek. Returns the number removed. */
ANVIL_API uint32_t ring_buffer_decommit(ring_buffer *rb, uint32_t count);

ANVIL_END_DECLS

#endif
