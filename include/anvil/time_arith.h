/* Timespec arithmetic for deadlines and time-outs.
 *
 * Seconds and nanoseconds are computed as signed 32-bit values, the width of
 * both fields on the 32-bit targets. Where time_t and long are 64 bits wide
 * (a 64-bit host), the functions behave exactly as on a 32-bit target: they
 * read only the low 32 bits of each field of an operand, compute in 32 bits,
 * saturate at 0x7fffffff and store the 32-bit results sign-extended. Results
 * therefore match the target's for every value that fits its types.
 * Neither function fails, allocates or sets errno.
 *
 * A 32-bit program built with _TIME_BITS=64 has a struct timespec with 64-bit
 * seconds. For it the same two names are redirected, as the C library does
 * with its own time functions, to the twins set_normalized_timespec_time64
 * and timespec_add_safe_time64, which follow the same rules in 64-bit
 * seconds: sec is an int64_t, the seconds wrap modulo 2^64 and saturate at
 * the largest time_t, 0x7fffffffffffffff. The nanoseconds are still taken
 * as 32-bit values. Every target exports the twins.
 */
#ifndef ANVIL_TIME_ARITH_H
#define ANVIL_TIME_ARITH_H

#include <stdint.h>
#include <time.h>

#include "anvil/defs.h"

/* Declared for strict ISO C, where <time.h> leaves it to POSIX. */
struct timespec;

ANVIL_BEGIN_DECLS

#if !defined(__USE_TIME_BITS64)

/* Stores sec and nsec into ts with nsec brought into 0 to 999999999, the
 * surplus moved into the seconds. nsec may be any value, negative too. The
 * seconds wrap modulo 2^32 without saturating (0x7fffffff s + 1 s gives
 * -2147483648 s). */
ANVIL_API void set_normalized_timespec(struct timespec *ts, int32_t sec, int32_t nsec);

/* Stores the normalised sum of lhs and rhs into result. When the seconds of
 * the sum come out below those of either operand, which for non-negative
 * operands means they overflowed, they are set to 0x7fffffff; the
 * nanoseconds keep their normalised value. A negative seconds operand
 * therefore saturates too. result must not be lhs or rhs. */
ANVIL_API void timespec_add_safe(const struct timespec *lhs, const struct timespec *rhs,
                                 struct timespec *result);

#else

ANVIL_API void set_normalized_timespec(struct timespec *ts, int64_t sec, int32_t nsec)
    __asm__("set_normalized_timespec_time64");
ANVIL_API void timespec_add_safe(const struct timespec *lhs, const struct timespec *rhs,
                                 struct timespec *result) __asm__("timespec_add_safe_time64");

#endif /* __USE_TIME_BITS64 */

ANVIL_END_DECLS

#endif
