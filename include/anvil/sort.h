/* Sorting and binary search over caller-owned arrays of fixed-size elements.
 *
 * Element i of an array lives at base + i * size. Compare callbacks return a
 * negative value, 0 or a positive value as the first element sorts before,
 * equal to or after the second. Nothing here allocates, fails or sets errno.
 *
 * bsearch is exported under the C library's name and signature, so the two
 * declarations agree and both headers can be included together. In an
 * optimised build (-O1 and up, not -Os) glibc's <stdlib.h> carries an inline
 * copy of bsearch that the compiler puts in place of the call, so such a
 * program would never reach this library's definition. This header prevents
 * that when it comes first: include it (or <anvil.h>) before <stdlib.h>, and
 * in C++ before any standard header, since most of them include <cstdlib>.
 * Where that order cannot be kept, build with -D__NO_INLINE__, which turns
 * off glibc's inline copies. Unoptimised builds need nothing: a program
 * linked with -lanvil binds bsearch to this library, ahead of the C library.
 */
#ifndef ANVIL_SORT_H
#define ANVIL_SORT_H

#include <stddef.h>
#include <stdint.h>

/* stdint.h has brought in glibc's <features.h>. Take <stdlib.h> in now with
 * its inline copies off; its include guard keeps them out of the rest of
 * the translation unit. */
#if defined(__GLIBC__) && defined(__USE_EXTERN_INLINES) && !defined(_STDLIB_H)
#undef __USE_EXTERN_INLINES
#include <stdlib.h>
#define __USE_EXTERN_INLINES 1
#endif

#include "anvil/defs.h"

ANVIL_BEGIN_DECLS

/* Sorts count elements of size bytes in place into ascending order of
 * compare, with a bidirectional bubble sort whose bounds shrink to the last
 * exchange: stable, one pass of count - 1 comparisons on a sorted array,
 * quadratic at worst; meant for small or nearly sorted arrays. swap exchanges
 * two elements; NULL picks u32_swap for size 4, u64_swap for size 8 (the
 * array must then be aligned for such values) and generic_swap otherwise.
 * Does nothing when count or size is not positive or compare is NULL. */
ANVIL_API void ShakerSort(void *base, uint32_t count, int32_t size,
                          int (*compare)(const void *a, const void *b),
                          void (*swap)(void *a, void *b, int32_t size));

/* Exchange the 32-bit, or 64-bit, values at a and b; size is ignored. */
ANVIL_API void u32_swap(void *a, void *b, int32_t size);
ANVIL_API void u64_swap(void *a, void *b, int32_t size);

/* Exchanges size bytes at a and b; nothing when size is 0 or negative. */
ANVIL_API void generic_swap(void *a, void *b, int32_t size);

/* Returns an element of the ascending array that compares equal to key, or
 * NULL; compare is called as compare(key, element). Probes the middle
 * element start + (end - start) / 2 of the range [start, end) left, starting
 * from [0, count), so with several equal elements the first one met is
 * returned. A count of 0 returns NULL without calling compare. */
ANVIL_API void *bsearch(const void *key, const void *base, size_t count, size_t size,
                        int (*compare)(const void *key, const void *element));

ANVIL_END_DECLS

#endif
