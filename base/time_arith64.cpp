// The timespec functions in 64-bit seconds, for callers with a 64-bit time_t.
// On 32-bit targets the public header redirects the plain names here when
// the caller is built with _TIME_BITS=64; every target exports them, so that
// the exported set is the same everywhere.

#undef _TIME_BITS
#define _TIME_BITS 64

#include <time.h>

#include "anvil/defs.h"
#include "base/time_rules.hpp"

static_assert(sizeof(time_t) == 8, "needs a 64-bit time_t (glibc 2.34 or later on 32-bit targets)");

extern "C" {

ANVIL_API void set_normalized_timespec_time64(struct timespec *ts, std::int64_t sec,
                                              std::int32_t nsec)
{
    anvil::set_normalized(ts, sec, nsec);
}

ANVIL_API void timespec_add_safe_time64(const struct timespec *lhs, const struct timespec *rhs,
                                        struct timespec *result)
{
    anvil::add_saturating<std::int64_t>(lhs, rhs, result);
}

}
