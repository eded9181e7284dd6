// Normalising and saturating timespec arithmetic in 32-bit seconds.

// These two serve callers whose time_t is the platform's original one, even
// where the rest of the library is built with a 64-bit time_t.
#undef _TIME_BITS

#include "anvil/time_arith.h"

#include "base/time_rules.hpp"

void set_normalized_timespec(struct timespec *ts, std::int32_t sec, std::int32_t nsec)
{
    anvil::set_normalized(ts, sec, nsec);
}

void timespec_add_safe(const struct timespec *lhs, const struct timespec *rhs,
                       struct timespec *result)
{
    anvil::add_saturating<std::int32_t>(lhs, rhs, result);
}
