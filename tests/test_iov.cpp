#include <anvil/iov.h>
#include <gtest/gtest.h>

#include <numeric>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace {

// Segments of the given lengths laid end to end over one flat buffer.
struct Segments {
    std::string flat;
    std::vector<iovec> v;
    explicit Segments(const std::vector<size_t> &lens, char first = 'a')
        : flat(std::accumulate(lens.begin(), lens.end(), size_t(0)), '\0')
    {
        for (size_t i = 0; i < flat.size(); ++i)
            flat[i] = static_cast<char>(first + i % 26);
        size_t at = 0;
        for (size_t len : lens) {
            v.push_back({&flat[at], len});
            at += len;
        }
    }
    iov_iter iter() const { return {v.data(), unsigned(v.size()), 0, flat.size()}; }
};

}  // namespace

TEST(IovIter, AdvanceAndSingleSegmentCount)
{
    // Where the iterator ends: segment, offset in it, segments and bytes
    // left, and the single-segment count there.
    struct Case { std::vector<size_t> lens; size_t bytes, seg, seg_offset, nr_segs, count, single; } cases[] = {
        {{3, 0, 5}, 3, 2, 0, 1, 5, 5},  // the empty segment is stepped over
        {{3, 5}, 2, 0, 2, 2, 6, 1}, {{10}, 4, 0, 4, 1, 6, 6},
        {{4}, 4, 0, 4, 1, 0, 0},        // the last segment is never left
        {{2, 0}, 2, 1, 0, 1, 0, 0}, {{2, 3, 0, 0, 4}, 5, 4, 0, 1, 4, 4}, {{2, 3, 4}, 0, 0, 0, 3, 9, 2},
    };
    for (const Case &c : cases) {
        Segments s(c.lens);
        iov_iter it = s.iter();
        iov_iter_advance(&it, c.bytes);
        EXPECT_EQ(std::make_tuple(size_t(it.seg - s.v.data()), it.seg_offset, size_t(it.nr_segs), it.count,
                                  iov_iter_single_seg_count(&it)),
                  std::make_tuple(c.seg, c.seg_offset, c.nr_segs, c.count, c.single))
            << "segments " << c.lens.size() << ", by " << c.bytes;
    }
}

TEST(IovShorten, CutsTheEntryThatReachesTheTarget)
{
    struct Case { size_t target; unsigned kept; std::vector<size_t> lens; } cases[] = {
        {6, 2, {4, 2, 4}}, {8, 2, {4, 4, 4}}, {20, 3, {4, 4, 4}}, {0, 1, {0, 4, 4}},
    };
    for (const Case &c : cases) {
        iovec v[3] = {{nullptr, 4}, {nullptr, 4}, {nullptr, 4}};
        EXPECT_EQ(iov_shorten(v, 3, c.target), c.kept) << c.target;
        EXPECT_EQ((std::vector<size_t>{v[0].iov_len, v[1].iov_len, v[2].iov_len}), c.lens);
    }
    EXPECT_EQ(iov_shorten(nullptr, 0, 5), 0u);
}

TEST(IovCopy, FromAndToVectors)
{
    Segments s({2, 0, 3});  // ab, nothing, cde
    char out[8] = {};
    memcpy_fromiovec(out, s.v.data(), 4);
    EXPECT_STREQ(out, "abcd");
    memcpy_fromiovec(out, s.v.data(), 4);  // the vector is not consumed
    EXPECT_STREQ(out, "abcd");

    memcpy_toiovec(s.v.data(), "VWXYZ", 5);
    EXPECT_EQ(s.flat, "VWXYZ");
    // Copies from an offset: see the property below.
    memcpy_toiovecend(nullptr, "", 7, 0);  // with nothing to copy, no entry is read
}

// Advancing an iterator from anywhere to anywhere is what the vectored
// transfers in test_stress.cpp do, over segments of random lengths.
TEST(IovProperty, OffsetCopiesMatchAFlatBuffer)
{
    std::mt19937 rng(20261123);
    for (int round = 0; round < 300; ++round) {
        std::vector<size_t> lens(1 + rng() % 8);
        for (size_t &l : lens)
            l = rng() % 3 == 0 ? 0 : rng() % 9;
        Segments s(lens);
        const size_t total = s.flat.size();
        for (size_t done = 0; done < total; done += 1 + rng() % (total - done)) {
            size_t len = rng() % (total - done + 1);
            std::string from(len, '\0');
            memcpy_fromiovecend(from.data(), s.v.data(), done, len);
            ASSERT_EQ(from, s.flat.substr(done, len));
            Segments to(lens, 'A');
            std::string want = to.flat;
            want.replace(done, len, s.flat, done, len);
            memcpy_toiovecend(to.v.data(), s.flat.data() + done, done, len);
            ASSERT_EQ(to.flat, want);
        }
    }
}
