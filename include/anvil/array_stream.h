/* Chunked array stream: a growable array of fixed-size elements.
 *
 * Elements are stored in equal chunks of a power-of-two number of elements.
 * Chunks are only ever appended and never moved or freed before
 * array_stream_destroy, so the address of an element stays valid, and keeps
 * pointing at that element, for the whole life of the handle.
 *
 * The stream has one cursor, shared by write, read and seek, like a file.
 * Writes and reads copy nothing: they hand out addresses inside a chunk.
 * Counts, indices and lengths are in elements, not bytes. No function checks
 * the handle for NULL. The stream never looks inside its elements.
 * Only array_stream_create, array_stream_write and array_stream_index fail
 * and set errno; the others cannot fail.
 */
#ifndef ANVIL_ARRAY_STREAM_H
#define ANVIL_ARRAY_STREAM_H

#include <stdint.h>

#include "anvil/defs.h"

ANVIL_BEGIN_DECLS

typedef struct array_stream array_stream;

/* A new, empty stream of element_size-byte elements, chunk_elements per
 * chunk rounded up to a power of two. No chunk is allocated until the first
 * write. Returns NULL with EINVAL when either argument is 0, chunk_elements
 * is above 2^31 or a chunk would not fit in 32 bits of bytes; NULL with
 * ENOMEM when out of memory. */
ANVIL_API array_stream *array_stream_create(uint32_t element_size, uint32_t chunk_elements);

/* Frees every chunk, the chunk table and the handle. Memory the elements
 * point to is the caller's. */
ANVIL_API void array_stream_destroy(array_stream *s);

/* Room for up to *count elements at the cursor, never spanning two chunks:
 * *count is cut down to what fits in the current chunk. The cursor moves past
 * the granted elements and the length grows with it; they count as stored
 * whether or not the caller fills them. Returns NULL with EINVAL when count
 * is NULL or *count is 0, NULL with ENOMEM when a new chunk cannot be had
 * (length, cursor and stored elements are then unchanged). */
ANVIL_API void *array_stream_write(array_stream *s, uint32_t *count);

/* The stored elements at the cursor. With count NULL one element is taken;
 * otherwise the whole run up to the end of the chunk or of the data is, and
 * its size is stored in *count (its value on entry is ignored). The cursor
 * moves past them. Returns NULL at the end, leaving errno alone. */
ANVIL_API void *array_stream_read(array_stream *s, uint32_t *count);

/* The address of element index, or NULL with EINVAL when index is not below
 * the length. The cursor does not move. */
ANVIL_API void *array_stream_index(const array_stream *s, uint32_t index);

/* Moves the cursor to offset from origin (SEEK_SET, SEEK_CUR or SEEK_END:
 * 0, 1 or 2), clamped to 0 .. length; an unknown origin changes nothing.
 * Returns the cursor as it was before the call. */
ANVIL_API uint32_t array_stream_seek(array_stream *s, int32_t offset, int origin);

/* The number of stored elements. */
ANVIL_API uint32_t array_stream_length(const array_stream *s);

/* The element size given at creation, in bytes. */
ANVIL_API uint32_t array_stream_element_size(const array_stream *s);

/* Empties the stream: length and cursor become 0. Chunks are kept and
 * refilled from the first one; earlier addresses still point into them. */
ANVIL_API void array_stream_clear(array_stream *s);

/* Copies every stored element, in order, to dest, which must hold
 * length x element size bytes. The cursor is neither used nor moved. */
ANVIL_API void array_stream_copy_all(const array_stream *s, void *dest);

/* Drops stored elements. Whatever the count, the stream is left empty, as by
 * array_stream_clear. */
ANVIL_API void array_stream_drop(array_stream *s, uint32_t count);

ANVIL_END_DECLS

#endif
