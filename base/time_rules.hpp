// The rules shared by the timespec functions of both widths: Sec is the type
// the seconds are computed in, Ts the caller's struct timespec.
#pragma once

#include <cstdint>
#include <limits>
#include <type_traits>

namespace anvil {

// Wrapping addition: signed overflow is undefined, unsigned wraps.
template <class Sec>
Sec add_wrapping(Sec a, Sec b)
{
    using U = std::make_unsigned_t<Sec>;
    return static_cast<Sec>(static_cast<U>(a) + static_cast<U>(b));
}

template <class Sec, class Ts>
void set_normalized(Ts *ts, Sec sec, std::int32_t nsec)
{
    constexpr std::int32_t kNsecPerSec = 1000000000;
    // At most two steps up and three down for any 32-bit nsec, so a loop is
    // cheaper than a division.
    while (nsec >= kNsecPerSec) {
        nsec -= kNsecPerSec;
        sec = add_wrapping<Sec>(sec, 1);
    }
    while (nsec < 0) {
        nsec += kNsecPerSec;
        sec = add_wrapping<Sec>(sec, -1);
    }
    ts->tv_sec = sec;
    ts->tv_nsec = nsec;
}

// Fields wider than Sec (or than 32 bits for the nanoseconds) count by their
// low bits only, as they would on a target where they have that width.
template <class Sec, class Ts>
void add_saturating(const Ts *lhs, const Ts *rhs, Ts *result)
{
    const Sec lsec = static_cast<Sec>(lhs->tv_sec), rsec = static_cast<Sec>(rhs->tv_sec);
    set_normalized<Sec>(result, add_wrapping(lsec, rsec),
                        add_wrapping(static_cast<std::int32_t>(lhs->tv_nsec),
                                     static_cast<std::int32_t>(rhs->tv_nsec)));
    const Sec sum = static_cast<Sec>(result->tv_sec);
    if (sum < lsec || sum < rsec)
        result->tv_sec = std::numeric_limits<Sec>::max();
}

}  // namespace anvil
