#include <anvil/time_arith.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <ctime>
#include <utility>

namespace {

constexpr std::int64_t kMax = INT32_MAX, kMin = INT32_MIN;
// Seconds and nanoseconds, compared as 64-bit values so that a 64-bit host
// catches results stored without sign extension.
using Ts = std::pair<std::int64_t, std::int64_t>;

// The 64-bit-seconds twins, declared with their layout spelled out so that
// this file reaches them whatever its own time_t is.
struct Timespec64 {
    std::int64_t tv_sec;
    long tv_nsec;
};
constexpr std::int64_t kMax64 = INT64_MAX, kMin64 = INT64_MIN;

// Cases are {given, wanted}.
template <class T, size_t n, class F>
void expect_normalised(const Ts (&cases)[n][2], F normalise)
{
    for (const auto &c : cases) {
        T ts{};
        normalise(&ts, c[0].first, std::int32_t(c[0].second));
        EXPECT_EQ(Ts(ts.tv_sec, ts.tv_nsec), c[1]) << "given " << testing::PrintToString(c[0]);
    }
}

// Cases are {lhs, rhs, wanted sum}.
template <class T, size_t n, class F>
void expect_sums(const Ts (&cases)[n][3], F add)
{
    for (const auto &c : cases) {
        T ts[3]{};
        for (int i = 0; i < 2; ++i)
            ts[i].tv_sec = decltype(T::tv_sec)(c[i].first), ts[i].tv_nsec = long(c[i].second);
        add(&ts[0], &ts[1], &ts[2]);
        EXPECT_EQ(Ts(ts[2].tv_sec, ts[2].tv_nsec), c[2])
            << testing::PrintToString(c[0]) << " + " << testing::PrintToString(c[1]);
    }
}

}  // namespace

extern "C" void set_normalized_timespec_time64(Timespec64 *ts, std::int64_t sec, std::int32_t nsec);
extern "C" void timespec_add_safe_time64(const Timespec64 *lhs, const Timespec64 *rhs,
                                         Timespec64 *result);

TEST(Timespec, Normalises)
{
    const Ts cases[][2] = {
        {{5, 1500000000}, {6, 500000000}}, {{5, -1}, {4, 999999999}}, {{5, 1000000000}, {6, 0}},
        {{5, 999999999}, {5, 999999999}}, {{0, kMax}, {2, 147483647}}, {{0, kMin}, {-3, 852516352}},
        // The seconds wrap both ways instead of saturating.
        {{kMax, 1000000000}, {kMin, 0}}, {{kMin, -1}, {kMax, 999999999}},
    };
    expect_normalised<timespec>(cases, [](timespec *ts, std::int64_t sec, std::int32_t nsec) {
        set_normalized_timespec(ts, std::int32_t(sec), nsec);
    });
}

TEST(Timespec, AddSaturatesTheSeconds)
{
    const Ts cases[][3] = {
        {{1, 600000000}, {2, 500000000}, {4, 100000000}},
        {{0, 0}, {0, 0}, {0, 0}},  // equal seconds are no overflow
        {{kMax, 0}, {1, 0}, {kMax, 0}}, {{kMax, 999999999}, {0, 1}, {kMax, 0}},
        {{kMax, 999999999}, {kMax, 999999999}, {kMax, 999999998}},
        {{10, 0}, {-5, 0}, {kMax, 0}}, {{-5, 0}, {10, 0}, {kMax, 0}},
        // Only the low 32 bits of wider fields count, as on the target, where
        // these values are truncated on the way in.
        {{0x100000005, 0}, {3, 0x100000000 + 700000000}, {8, 700000000}},
        {{kMax + 1, 0}, {1, 0}, {kMax, 0}},
    };
    expect_sums<timespec>(cases, timespec_add_safe);
}

TEST(Timespec64, NormalisesAndWrapsIn64Bits)
{
    const Ts cases[][2] = {
        {{5, 1500000000}, {6, 500000000}}, {{0, kMin}, {-3, 852516352}},
        {{kMax, 1000000000}, {kMax + 1, 0}},
        {{kMax64, 1000000000}, {kMin64, 0}}, {{kMin64, -1}, {kMax64, 999999999}},
    };
    expect_normalised<Timespec64>(cases, set_normalized_timespec_time64);
}

TEST(Timespec64, AddSaturatesAtTheLargestTime)
{
    const Ts cases[][3] = {
        {{1, 600000000}, {2, 500000000}, {4, 100000000}},
        {{kMax, 999999999}, {0, 1}, {kMax + 1, 0}},  // past 2038
        {{kMax64, 0}, {1, 0}, {kMax64, 0}}, {{kMax64, 999999999}, {0, 1}, {kMax64, 0}},
        {{10, 0}, {-5, 0}, {kMax64, 0}},
    };
    expect_sums<Timespec64>(cases, timespec_add_safe_time64);
}
