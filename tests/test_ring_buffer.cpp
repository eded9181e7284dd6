#include <anvil/ring_buffer.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <vector>

#include "support/test_support.hpp"

namespace {

using Bytes = std::vector<unsigned char>;

struct Ring {
    ring_buffer *rb;
    Ring(uint32_t capacity, uint32_t size) : rb(ring_buffer_create(capacity, size)) {}
    ~Ring() { if (rb) ring_buffer_destroy(rb); }
    operator ring_buffer *() const { return rb; }
};

// n elements of size bytes, element i filled with bytes derived from first + i.
Bytes elements(uint32_t first, uint32_t n, uint32_t size)
{
    Bytes v(size_t{n} * size);
    for (size_t b = 0; b < v.size(); ++b)
        v[b] = static_cast<unsigned char>((first + b / size) * 13 + b % size);
    return v;
}

// The run reserve or peek hands out, as an address and a count.
struct Span {
    void *at;
    uint32_t n;
    bool operator==(const Span &) const = default;
};
Span reserve(ring_buffer *rb) { Span r; r.at = ring_buffer_reserve(rb, &r.n); return r; }
Span peek(ring_buffer *rb) { Span r; r.at = ring_buffer_peek(rb, &r.n); return r; }

// Moves both counters on by distance without copying, keeping at least one
// element stored so that nothing drains and resets them.
void drive(ring_buffer *rb, uint64_t distance)
{
    uint32_t room = reserve(rb).n;
    for (uint32_t step; distance != 0; distance -= step) {
        step = static_cast<uint32_t>(std::min<uint64_t>(distance, room));
        ASSERT_TRUE(ring_buffer_commit(rb, step) == step && ring_buffer_decommit(rb, step) == step);
    }
}

}  // namespace

TEST(RingBuffer, CapacityIsRoundedAndBadShapesRefused)
{
    for (auto [want, got] : {std::pair{2u, 2u}, {3u, 4u}, {1000u, 1024u}, {4096u, 4096u}}) {
        Ring r(want, 4);
        Span room = reserve(r);
        EXPECT_EQ(room.n, got);
        auto *p = static_cast<unsigned char *>(room.at);
        EXPECT_EQ(Bytes(p, p + got * 4), Bytes(got * 4));  // zero-filled
    }
    const uint32_t bad[][2] = {{1, 4}, {8, 0}, {0x80000001u, 1}, {0x80000000u, 2}, {0x10000, 0x10000}};
    for (auto &b : bad) {
        errno = 0;
        EXPECT_EQ(ring_buffer_create(b[0], b[1]), nullptr) << b[0] << " x " << b[1];
        EXPECT_EQ(errno, EINVAL);
    }
    for (int ok = 0; ok < 2; ++ok) {
        anvil_test::fail_alloc_after(ok);
        EXPECT_EQ(ring_buffer_create(8, 4), nullptr);
        EXPECT_EQ(errno, ENOMEM);
        anvil_test::disarm_alloc_failure();
    }
}

TEST(RingBuffer, CopiesWrapInOrderForEveryElementSize)
{
    // Sizes around each of the inline copy's cases, and one beyond them.
    for (uint32_t size : {1u, 3u, 4u, 12u, 20u, 40u, 64u, 100u}) {
        SCOPED_TRACE(size);
        Ring r(8, size);
        Bytes in = elements(0, 11, size), out(11 * size, 0xa5);
        EXPECT_EQ(ring_buffer_write(r, in.data(), 10), 8u);
        EXPECT_TRUE(ring_buffer_full(r) && ring_buffer_write(r, in.data(), 1) == 0);
        EXPECT_EQ(ring_buffer_read(r, out.data(), 8), 8u);
        EXPECT_TRUE(ring_buffer_empty(r));
        // Write 6, read 4, write 5: slots 6 and 7, then 0 to 2.
        ring_buffer_write(r, in.data(), 6);
        ring_buffer_read(r, out.data(), 4);
        EXPECT_EQ(ring_buffer_write(r, in.data() + 6 * size, 5), 5u);
        EXPECT_EQ(ring_buffer_len(r), 7u);
        out.assign(out.size(), 0xa5);
        EXPECT_EQ(ring_buffer_read(r, out.data(), 10), 7u);
        EXPECT_EQ(Bytes(out.begin(), out.begin() + 7 * size), Bytes(in.begin() + 4 * size, in.end()));
        EXPECT_EQ(out[7 * size], 0xa5);  // nothing copied past the count
        EXPECT_EQ(reserve(r).n, 8u);    // drained: counters back to 0
        EXPECT_EQ(ring_buffer_read(r, out.data(), 1), 0u);
    }
}

TEST(RingBuffer, ZeroCopyPairsSplitAtTheEndOfTheStorage)
{
    Ring r(8, 4);
    auto *base = static_cast<unsigned char *>(reserve(r).at);
    Bytes in = elements(0, 6, 4);
    ring_buffer_write(r, in.data(), 6);
    ring_buffer_read(r, in.data(), 4);
    EXPECT_EQ(reserve(r), (Span{base + 6 * 4, 2}));
    EXPECT_EQ(reserve(r), (Span{base + 6 * 4, 2}));  // reserving records nothing
    EXPECT_EQ(ring_buffer_commit(r, 2), 2u);
    EXPECT_EQ(reserve(r), (Span{base, 4}));
    EXPECT_EQ(ring_buffer_commit(r, 9), 4u);  // only what is free
    EXPECT_EQ(reserve(r), (Span{nullptr, 0}));
    EXPECT_EQ(peek(r), (Span{base + 4 * 4, 4}));
    EXPECT_EQ(ring_buffer_decommit(r, 4), 4u);
    EXPECT_EQ(peek(r), (Span{base, 4}));
    EXPECT_EQ(ring_buffer_decommit(r, 100), 4u);  // everything, then a reset
    EXPECT_EQ(peek(r), (Span{nullptr, 0}));
    EXPECT_EQ(reserve(r), (Span{base, 8}));
    ring_buffer_commit(r, 3);
    ring_buffer_reset(r);
    EXPECT_TRUE(ring_buffer_empty(r) && ring_buffer_len(r) == 0);
}

TEST(RingBuffer, CountersWrappingPast2To32)
{
    const uint32_t capacity = 1u << 16;
    for (uint32_t size : {1u, 4u, 12u}) {
        SCOPED_TRACE(size);
        Ring r(capacity, size);
        auto *base = static_cast<unsigned char *>(reserve(r).at);
        Bytes in = elements(0, 11, size), out(11 * size);
        ring_buffer_commit(r, 1);
        drive(r, 0xfffffffcull);  // written = 2^32 - 3, one element stored
        Span oldest = peek(r);
        ASSERT_EQ(oldest, (Span{base + (capacity - 4) * size, 1}));
        std::copy(in.begin(), in.begin() + size, static_cast<unsigned char *>(oldest.at));
        EXPECT_EQ(ring_buffer_write(r, in.data() + size, 10), 10u);  // written wraps to 7
        EXPECT_EQ(ring_buffer_len(r), 11u);
        EXPECT_EQ(reserve(r), (Span{base + 7 * size, capacity - 11}));
        EXPECT_EQ(peek(r), (Span{oldest.at, 4}));
        EXPECT_EQ(ring_buffer_read(r, out.data(), 11), 11u);
        EXPECT_EQ(out, in);
        EXPECT_TRUE(ring_buffer_empty(r));

        // The zero-copy pair across the same wrap; then fill it completely.
        ring_buffer_commit(r, 1);
        drive(r, 0xfffffffeull);  // written = 2^32 - 1
        EXPECT_EQ(reserve(r), (Span{base + (capacity - 1) * size, 1}));
        ring_buffer_commit(r, 1);
        EXPECT_EQ(reserve(r), (Span{base, capacity - 2}));
        EXPECT_EQ(ring_buffer_commit(r, capacity), capacity - 2);
        EXPECT_TRUE(ring_buffer_full(r) && ring_buffer_len(r) == capacity);
        EXPECT_EQ(ring_buffer_decommit(r, capacity - 1), capacity - 1);
        EXPECT_EQ(peek(r), (Span{base + (capacity - 3) * size, 1}));
    }
}
