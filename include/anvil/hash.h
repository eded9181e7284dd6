/* Classic string hash functions.
 *
 * Each takes a NUL-terminated string and hashes the bytes before the NUL,
 * every byte taken as unsigned (0 to 255), with unsigned 32-bit arithmetic
 * that wraps. The values are fixed: they are the same on every platform and
 * in every release, so callers may store and exchange them. None fails,
 * allocates, sets errno or keeps state; all are safe from any thread.
 * The empty string gives the initial value of each function.
 */
#ifndef ANVIL_HASH_H
#define ANVIL_HASH_H

#include <stdint.h>

#include "anvil/defs.h"

ANVIL_BEGIN_DECLS

/* Robert Sedgewick's hash: hash * a + c, the multiplier a = 63689 growing by
 * a factor of 378551 after every byte. */
ANVIL_API uint32_t RSHash(const char *str);

/* Justin Sobel's hash, from 1315423911. */
ANVIL_API uint32_t JSHash(const char *str);

/* Peter J. Weinberger's hash; equal to ELFHash for every string. */
ANVIL_API uint32_t PJWHash(const char *str);

/* The symbol hash of the ELF object format; never above 0x0FFFFFFF. */
ANVIL_API uint32_t ELFHash(const char *str);

/* Kernighan and Ritchie's hash with seed 131: hash * 131 + c. */
ANVIL_API uint32_t BKDRHash(const char *str);

/* The hash of the sdbm database: hash * 65599 + c. */
ANVIL_API uint32_t SDBMHash(const char *str);

/* Daniel J. Bernstein's hash: hash * 33 + c, from 5381. */
ANVIL_API uint32_t DJBHash(const char *str);

/* Donald E. Knuth's hash: starts from the length, then rotates left by 5 and
 * mixes in each byte. The only one that reads the string twice. */
ANVIL_API uint32_t DEKHash(const char *str);

/* hash << 7 ^ c: only the last five bytes count. */
ANVIL_API uint32_t BPHash(const char *str);

/* hash * 0x811C9DC5, then ^ c, from 0. Not FNV-1: FNV-1 starts from
 * 0x811C9DC5 and multiplies by 16777619, so the values differ. */
ANVIL_API uint32_t FNVHash(const char *str);

/* Arash Partow's hash: two mixing steps alternating by byte position, the
 * first byte taking the even one, from 0xAAAAAAAA. */
ANVIL_API uint32_t APHash(const char *str);

ANVIL_END_DECLS

#endif
