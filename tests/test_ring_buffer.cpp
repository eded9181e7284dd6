#include <anvil/ring_buffer.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <algorithm>
#include <cstdint>
#include <vector>

#include "support/test_support.hpp"

namespace {

struct Ring {
    ring_buffer *rb;
    Ring(uint32_t capacity, uint32_t size) : rb(ring_buffer_create(capacity, size)) {}
    ~Ring() { if (rb) ring_buffer_destroy(rb); }
    operator ring_buffer *() const { return rb; }
};

// n elements of size bytes, element i filled with bytes derived from first + i.
std::vector<unsigned char> elements(uint32_t first, uint32_t n, uint32_t size)
{
    std::vector<unsigned char> v(size_t{n} * size);
    for (size_t b = 0; b < v.size(); ++b)
        v[b] = static_cast<unsigned char>((first + b / size) * 13 + b % size);
    return v;
}

unsigned char *storage(ring_buffer *rb)  // the start, found on an empty buffer
{
    uint32_t n;
    return static_cast<unsigned char *>(ring_buffer_reserve(rb, &n));
}

// Moves both counters on by distance without copying, keeping at least one
// element stored so that nothing drains and resets them.
void drive(ring_buffer *rb, uint64_t distance)
{
    uint32_t room = 0;
    ring_buffer_reserve(rb, &room);
    for (uint32_t step = 0; distance != 0; distance -= step) {
        step = static_cast<uint32_t>(distance < room ? distance : room);
        ASSERT_EQ(ring_buffer_commit(rb, step), step);
        ASSERT_EQ(ring_buffer_decommit(rb, step), step);
    }
}

}  // namespace

TEST(RingBuffer, CapacityIsRoundedAndBadShapesRefused)
{
    for (auto [want, got] : {std::pair{2u, 2u}, {3u, 4u}, {1000u, 1024u}, {4096u, 4096u}}) {
        Ring r(want, 4);
        uint32_t n = 0;
        auto *p = static_cast<unsigned char *>(ring_buffer_reserve(r, &n));
        EXPECT_EQ(n, got);
        EXPECT_EQ(std::vector<unsigned char>(p, p + n * 4), std::vector<unsigned char>(n * 4));
    }
    const uint32_t bad[][2] = {{1, 4}, {8, 0}, {0x80000001u, 1}, {0x80000000u, 2}, {0x10000, 0x10000}};
    for (auto &b : bad) {
        errno = 0;
        EXPECT_EQ(ring_buffer_create(b[0], b[1]), nullptr) << b[0] << " x " << b[1];
        EXPECT_EQ(errno, EINVAL);
    }
    for (int ok = 0; ok < 2; ++ok) {
        anvil_test::fail_alloc_after(ok);
        errno = 0;
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
        auto in = elements(0, 11, size);
        EXPECT_EQ(ring_buffer_write(r, in.data(), 10), 8u);
        EXPECT_TRUE(ring_buffer_full(r));
        EXPECT_EQ(ring_buffer_write(r, in.data(), 1), 0u);
        std::vector<unsigned char> out(11 * size, 0xa5);
        EXPECT_EQ(ring_buffer_read(r, out.data(), 4), 4u);
        EXPECT_EQ(ring_buffer_read(r, out.data(), 4), 4u);
        EXPECT_TRUE(ring_buffer_empty(r));
        // Write 6, read 4, write 5: slots 6 and 7, then 0 to 2.
        ASSERT_EQ(ring_buffer_write(r, in.data(), 6), 6u);
        ASSERT_EQ(ring_buffer_read(r, out.data(), 4), 4u);
        EXPECT_EQ(ring_buffer_write(r, in.data() + 6 * size, 5), 5u);
        EXPECT_EQ(ring_buffer_len(r), 7u);
        out.assign(out.size(), 0xa5);
        EXPECT_EQ(ring_buffer_read(r, out.data(), 10), 7u);
        EXPECT_EQ(std::vector<unsigned char>(out.begin(), out.begin() + 7 * size),
                  std::vector<unsigned char>(in.begin() + 4 * size, in.begin() + 11 * size));
        EXPECT_EQ(out[7 * size], 0xa5);  // nothing copied past the count
        uint32_t n = 0;
        EXPECT_EQ(ring_buffer_reserve(r, &n), storage(r));  // drained: counters back to 0
        EXPECT_EQ(n, 8u);
        EXPECT_EQ(ring_buffer_read(r, out.data(), 1), 0u);
    }
}

TEST(RingBuffer, ZeroCopyPairsSplitAtTheEndOfTheStorage)
{
    Ring r(8, 4);
    unsigned char *base = storage(r);
    auto in = elements(0, 6, 4);
    ring_buffer_write(r, in.data(), 6);
    ring_buffer_read(r, in.data(), 4);
    uint32_t n = 0;
    EXPECT_EQ(ring_buffer_reserve(r, &n), base + 6 * 4);
    EXPECT_EQ(n, 2u);
    EXPECT_EQ(ring_buffer_reserve(r, &n), base + 6 * 4);  // reserving records nothing
    EXPECT_EQ(ring_buffer_commit(r, 2), 2u);
    EXPECT_EQ(ring_buffer_reserve(r, &n), base);
    EXPECT_EQ(n, 4u);
    EXPECT_EQ(ring_buffer_commit(r, 9), 4u);  // only what is free
    EXPECT_EQ(ring_buffer_reserve(r, &n), nullptr);
    EXPECT_EQ(n, 0u);

    EXPECT_EQ(ring_buffer_peek(r, &n), base + 4 * 4);
    EXPECT_EQ(n, 4u);
    EXPECT_EQ(ring_buffer_decommit(r, 4), 4u);
    EXPECT_EQ(ring_buffer_peek(r, &n), base);
    EXPECT_EQ(n, 4u);
    EXPECT_EQ(ring_buffer_decommit(r, 100), 4u);  // everything, then a reset
    EXPECT_EQ(ring_buffer_peek(r, &n), nullptr);
    EXPECT_EQ(n, 0u);
    EXPECT_EQ(ring_buffer_reserve(r, &n), base);
    EXPECT_EQ(n, 8u);

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
        unsigned char *base = storage(r);
        auto in = elements(0, 11, size);
        ring_buffer_commit(r, 1);
        // written = 2^32 - 3, three slots before the end, one element stored.
        drive(r, 0xfffffffcull);
        uint32_t n = 0;
        auto *oldest = static_cast<unsigned char *>(ring_buffer_peek(r, &n));
        ASSERT_TRUE(oldest == base + (capacity - 4) * size && n == 1);
        std::copy(in.begin(), in.begin() + size, oldest);
        EXPECT_EQ(ring_buffer_write(r, in.data() + size, 10), 10u);  // written wraps to 7
        EXPECT_EQ(ring_buffer_len(r), 11u);
        EXPECT_EQ(ring_buffer_reserve(r, &n), base + 7 * size);
        EXPECT_EQ(n, capacity - 11);
        EXPECT_EQ(ring_buffer_peek(r, &n), oldest);
        EXPECT_EQ(n, 4u);
        std::vector<unsigned char> out(11 * size);
        EXPECT_EQ(ring_buffer_read(r, out.data(), 11), 11u);
        EXPECT_EQ(out, in);
        EXPECT_TRUE(ring_buffer_empty(r));

        // The zero-copy pair across the same wrap; then fill it completely.
        ring_buffer_commit(r, 1);
        drive(r, 0xfffffffeull);  // written = 2^32 - 1
        auto *p = static_cast<unsigned char *>(ring_buffer_reserve(r, &n));
        EXPECT_TRUE(p == base + (capacity - 1) * size && n == 1);
        ring_buffer_commit(r, 1);
        EXPECT_EQ(ring_buffer_reserve(r, &n), base);
        EXPECT_EQ(n, capacity - 2);
        EXPECT_EQ(ring_buffer_commit(r, capacity), capacity - 2);
        EXPECT_TRUE(ring_buffer_full(r) && ring_buffer_len(r) == capacity);
        EXPECT_EQ(ring_buffer_decommit(r, capacity - 1), capacity - 1);
        EXPECT_EQ(ring_buffer_peek(r, &n), base + (capacity - 3) * size);
        EXPECT_EQ(n, 1u);
    }
}
