#include <anvil/time_arith.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <ctime>

namespace {

constexpr std::int64_t kMax = 0x7fffffff;
constexpr std::int64_t kMin = -kMax - 1;

struct Ts {
    std::int64_t sec, nsec;
};

// Compares as 64-bit values, so a 64-bit host catches results stored without
// sign extension.
void expect_ts(const timespec &got, Ts want)
{
    EXPECT_EQ(static_cast<std::int64_t>(got.tv_sec), want.sec);
    EXPECT_EQ(static_cast<std::int64_t>(got.tv_nsec), want.nsec);
}

timespec make(Ts t)
{
    timespec ts{};
    ts.tv_sec = static_cast<time_t>(t.sec);
    ts.tv_nsec = static_cast<long>(t.nsec);
    return ts;
}

}  // namespace

TEST(Timespec, NormalisesEveryNanosecondCount)
{
    struct Case {
        std::int32_t sec, nsec;
        Ts want;
    };
    const Case cases[] = {
        {5, 1500000000, {6, 500000000}},
        {5, -1, {4, 999999999}},
        {5, 1000000000, {6, 0}},
        {5, 999999999, {5, 999999999}},
        {0, INT32_MAX, {2, 147483647}},
        {0, INT32_MIN, {-3, 852516352}},
        {INT32_MAX, 1000000000, {kMin, 0}},       // seconds wrap, no saturation
        {INT32_MIN, -1, {kMax, 999999999}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << c.sec << " s " << c.nsec << " ns");
        timespec ts{};
        set_normalized_timespec(&ts, c.sec, c.nsec);
        expect_ts(ts, c.want);
    }
}

TEST(Timespec, AddSaturatesTheSeconds)
{
    struct Case {
        Ts lhs, rhs, want;
    };
    const Case cases[] = {
        {{1, 600000000}, {2, 500000000}, {4, 100000000}},
        {{0, 0}, {0, 0}, {0, 0}},
        {{kMax - 1, 999999999}, {0, 1}, {kMax, 0}},  // the largest sum that fits
        {{kMax, 0}, {1, 0}, {kMax, 0}},
        {{kMax, 999999999}, {0, 1}, {kMax, 0}},       // overflow by the carry alone
        {{kMax, 999999999}, {kMax, 999999999}, {kMax, 999999998}},
        {{10, 0}, {-5, 0}, {kMax, 0}},                // a negative operand saturates
        {{-5, 0}, {10, 0}, {kMax, 0}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << c.lhs.sec << " s + " << c.rhs.sec << " s");
        timespec lhs = make(c.lhs), rhs = make(c.rhs), result{};
        timespec_add_safe(&lhs, &rhs, &result);
        expect_ts(result, c.want);
    }
}

// Where the fields are 64 bits wide only their low 32 bits count, so that a
// host computes what the target does.
TEST(Timespec, WideFieldsActAsTheirLow32Bits)
{
    if (sizeof(time_t) == 4)
        GTEST_SKIP() << "32-bit time_t";
    timespec lhs = make({0x100000005, 0}), rhs = make({3, 0x100000000 + 700000000}), result{};
    timespec_add_safe(&lhs, &rhs, &result);
    expect_ts(result, {8, 700000000});
    lhs = make({kMax + 1, 0});  // INT32_MIN on the target: saturates
    rhs = make({1, 0});
    timespec_add_safe(&lhs, &rhs, &result);
    expect_ts(result, {kMax, 0});
}
