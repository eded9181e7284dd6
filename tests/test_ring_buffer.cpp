#include <anvil/ring_buffer.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <numeric>
#include <vector>

#include "support/test_support.hpp"

namespace {

using Bytes = std::vector<unsigned char>;

// The run reserve or peek hands out, as an address and a count.
struct Span { void *at; uint32_t n; bool operator==(const Span &) const = default; };
Span reserve(ring_buffer *rb) { Span r; r.at = ring_buffer_reserve(rb, &r.n); return r; }
Span peek(ring_buffer *rb) { Span r; r.at = ring_buffer_peek(rb, &r.n); return r; }

}  // namespace

TEST(RingBuffer, CreateRefusesBadShapesAndReleasesOnFailure)
{
    // {capacity, element size, allocations that succeed, errno}; the ENOMEM
    // rows fail to get the handle, then the storage.
    const int bad[][4] = {{1, 4, 9, EINVAL}, {8, 0, 9, EINVAL}, {INT32_MIN + 1, 1, 9, EINVAL},
                          {INT32_MIN, 2, 9, EINVAL}, {8, 4, 0, ENOMEM}, {8, 4, 1, ENOMEM}};
    for (auto &b : bad) {
        anvil_test::fail_alloc_after(b[2]);
        errno = 0;
        EXPECT_TRUE(ring_buffer_create(uint32_t(b[0]), uint32_t(b[1])) == nullptr && errno == b[3]) << b[0] << " x " << b[1];
        anvil_test::disarm_alloc_failure();
    }
}

TEST(RingBuffer, ZeroCopyRunsStopAtTheEndOfTheStorage)
{
    ring_buffer *r = ring_buffer_create(8, 4);
    auto *base = static_cast<unsigned char *>(reserve(r).at);
    ring_buffer_commit(r, 6);
    ring_buffer_decommit(r, 4);
    EXPECT_EQ(reserve(r), (Span{base + 6 * 4, 2}));
    EXPECT_EQ(reserve(r), (Span{base + 6 * 4, 2}));  // reserving records nothing
    EXPECT_EQ(ring_buffer_commit(r, 2), 2u);
    EXPECT_EQ(reserve(r), (Span{base, 4}));
    int in[10] = {};
    EXPECT_EQ(ring_buffer_write(r, in, 10), 4u);  // only what is free
    EXPECT_TRUE(ring_buffer_full(r) && ring_buffer_write(r, in, 1) == 0 && reserve(r) == (Span{nullptr, 0}));
    EXPECT_EQ(peek(r), (Span{base + 4 * 4, 4}));
    EXPECT_EQ(ring_buffer_decommit(r, 4), 4u);
    EXPECT_EQ(peek(r), (Span{base, 4}));
    EXPECT_EQ(ring_buffer_decommit(r, 100), 4u);  // everything, then both counters back to 0
    EXPECT_TRUE(peek(r) == (Span{nullptr, 0}) && reserve(r) == (Span{base, 8}));
    EXPECT_EQ(ring_buffer_commit(r, 9), 8u);
    ring_buffer_reset(r);
    EXPECT_TRUE(ring_buffer_empty(r) && ring_buffer_len(r) == 0 && reserve(r).n == 8);
    ring_buffer_destroy(r);
}

// Copies that split at the end of the storage while the counters wrap past
// 2^32, and single elements, for every fixed-size copy class and sizes
// around them.
TEST(RingBuffer, CopiesAcrossTheStorageEndAndTheCounterWrap)
{
    const uint32_t capacity = 1u << 16;
    for (uint32_t size : {1u, 2u, 3u, 4u, 8u, 12u, 16u, 20u, 32u, 40u, 64u, 100u, 128u}) {
        SCOPED_TRACE(size);
        ring_buffer *r = ring_buffer_create(capacity / 2 + 1, size);  // rounded up
        auto *base = static_cast<unsigned char *>(reserve(r).at);
        ASSERT_EQ(Bytes(base, base + capacity * size), Bytes(capacity * size));  // zero-filled
        auto slot = [&](uint32_t i) { return base + size_t{i} * size; };
        Bytes in(11 * size), out(12 * size, 0xa5);
        std::iota(in.begin(), in.end(), 1);
        // Whole laps committed and decommitted, one element always stored so
        // that nothing drains, up to consumed = 2^32 - 4, written = 2^32 - 3.
        ring_buffer_commit(r, 1);
        for (uint64_t left = 0xfffffffcull, step; left != 0; left -= step) {
            step = std::min<uint64_t>(left, capacity - 1);
            ASSERT_TRUE(ring_buffer_commit(r, step) == step && ring_buffer_decommit(r, step) == step);
        }
        ASSERT_EQ(peek(r), (Span{slot(capacity - 4), 1}));
        std::copy(in.begin(), in.begin() + size, slot(capacity - 4));
        EXPECT_EQ(ring_buffer_write(r, in.data() + size, 10), 10u);  // 3 at the end, 7 at the start
        EXPECT_EQ(ring_buffer_len(r), 11u);
        EXPECT_EQ(reserve(r), (Span{slot(7), capacity - 11}));
        EXPECT_EQ(peek(r), (Span{slot(capacity - 4), 4}));
        EXPECT_EQ(ring_buffer_read(r, out.data(), 12), 11u);
        EXPECT_EQ(Bytes(out.begin(), out.begin() + 11 * size), in);
        EXPECT_EQ(out[11 * size], 0xa5);  // nothing copied past the count
        EXPECT_EQ(reserve(r), (Span{base, capacity}));  // drained: counters back to 0
        EXPECT_EQ(ring_buffer_read(r, out.data(), 1), 0u);
        // One element per call: slots 0 to 2 in, then out, slot 3 untouched.
        Bytes next(slot(3), slot(4));
        for (uint32_t i = 0; i < 3; ++i)
            EXPECT_EQ(ring_buffer_write(r, in.data() + i * size, 1), 1u);
        std::fill(out.begin(), out.end(), 0xa5);
        for (uint32_t i = 0; i < 3; ++i)
            EXPECT_EQ(ring_buffer_read(r, out.data() + i * size, 1), 1u);
        EXPECT_EQ(Bytes(out.begin(), out.begin() + 3 * size), Bytes(in.begin(), in.begin() + 3 * size));
        EXPECT_EQ(out[3 * size], 0xa5);
        EXPECT_EQ(Bytes(slot(3), slot(4)), next);
        ring_buffer_destroy(r);
    }
}
