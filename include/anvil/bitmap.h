/* Bitmaps in caller-owned arrays of 32-bit words, with bit search.
 *
 * Bit k is bit (k & 31) of word k >> 5, counting from the least significant
 * bit, on every target; a bitmap of n bits takes (n + 31) / 32 words. The
 * searches read whole words, never one past the word holding bit size - 1,
 * and ignore the bits of that word at and above size. A search that finds
 * nothing returns size. Nothing here fails, sets errno or locks.
 */
#ifndef ANVIL_BITMAP_H
#define ANVIL_BITMAP_H

#include <stdint.h>

#include "anvil/defs.h"

ANVIL_BEGIN_DECLS

/* Set, or clear, bits start .. start + count - 1. count must not be negative;
 * 0 changes nothing. */
ANVIL_API void bitmap_set(uint32_t *map, uint32_t start, int32_t count);
ANVIL_API void bitmap_clear(uint32_t *map, uint32_t start, int32_t count);

/* The lowest set, or clear, bit below size; size when there is none. */
ANVIL_API uint32_t find_first_bit(const uint32_t *map, uint32_t size);
ANVIL_API uint32_t find_first_zero_bit(const uint32_t *map, uint32_t size);

/* The lowest set, or clear, bit at or above offset and below size; size when
 * there is none, or without reading the map when offset >= size. */
ANVIL_API uint32_t find_next_bit(const uint32_t *map, uint32_t size, uint32_t offset);
ANVIL_API uint32_t find_next_zero_bit(const uint32_t *map, uint32_t size, uint32_t offset);

ANVIL_END_DECLS

#endif
