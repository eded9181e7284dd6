// Normalising and saturating timespec arithmetic in 32-bit seconds.
#include "anvil/time_arith.h"

#include <cstdint>

namespace {

constexpr std::int32_t kNsecPerSec = 1000000000;

// A field as the 32-bit value it is on the target (its low 32 bits where the
// field is wider).
template <class Field>
std::int32_t low32(Field v)
{
    return static_cast<std::int32_t>(v);
}

// Wrapping 32-bit addition: signed overflow is undefined, unsigned wraps.
std::int32_t add_wrapping(std::int32_t a, std::int32_t b)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

}  // namespace

void set_normalized_timespec(struct timespec *ts, std::int32_t sec, std::int32_t nsec)
{
    // At most two steps up and three down for any 32-bit nsec, so a loop is
    // cheaper than a division.
    while (nsec >= kNsecPerSec) {
        nsec -= kNsecPerSec;
        sec = add_wrapping(sec, 1);
    }
    while (nsec < 0) {
        nsec += kNsecPerSec;
        sec = add_wrapping(sec, -1);
    }
    ts->tv_sec = sec;
    ts->tv_nsec = nsec;
}

void timespec_add_safe(const struct timespec *lhs, const struct timespec *rhs,
                       struct timespec *result)
{
    set_normalized_timespec(result, add_wrapping(low32(lhs->tv_sec), low32(rhs->tv_sec)),
                            add_wrapping(low32(lhs->tv_nsec), low32(rhs->tv_nsec)));
    if (low32(result->tv_sec) < low32(lhs->tv_sec) || low32(result->tv_sec) < low32(rhs->tv_sec))
        result->tv_sec = INT32_MAX;
}
