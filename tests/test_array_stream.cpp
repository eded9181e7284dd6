#include <anvil/array_stream.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <vector>

#include "support/test_support.hpp"

namespace {

struct Stream {
    array_stream *s;
    Stream(uint32_t size, uint32_t per_chunk) : s(array_stream_create(size, per_chunk)) {}
    ~Stream() { if (s) array_stream_destroy(s); }
    operator array_stream *() const { return s; }
};

// Appends n ints counting up from first, looping over the granted pieces.
void append(array_stream *s, int first, uint32_t n)
{
    while (n != 0) {
        uint32_t k = n;
        auto *p = static_cast<int *>(array_stream_write(s, &k));
        ASSERT_TRUE(p && k <= n);
        for (uint32_t i = 0; i < k; ++i)
            p[i] = first++;
        n -= k;
    }
}

uint32_t cursor(array_stream *s) { return array_stream_seek(s, 0, SEEK_CUR); }

uint32_t granted(uint32_t element_size, uint32_t per_chunk, uint32_t want)
{
    Stream s(element_size, per_chunk);
    EXPECT_NE(array_stream_write(s, &want), nullptr);
    return want;
}

}  // namespace

TEST(ArrayStream, ChunkShapes)
{
    EXPECT_EQ(granted(1, 4096, 5000), 4096u);
    EXPECT_EQ(granted(20, 32, 100), 32u);
    EXPECT_EQ(granted(4, 5, 100), 8u);
    EXPECT_EQ(granted(4, 1, 100), 1u);
    Stream big(1, 0x80000000u);  // the largest chunk that can be asked for
    EXPECT_NE(big.s, nullptr);
    const uint32_t bad[][2] = {{0, 8}, {4, 0}, {1, 0x80000001u}, {2, 0x80000000u}, {0x10000, 0x10000}};
    for (auto &b : bad) {
        errno = 0;
        EXPECT_EQ(array_stream_create(b[0], b[1]), nullptr) << b[0] << " x " << b[1];
        EXPECT_EQ(errno, EINVAL);
    }
}

TEST(ArrayStream, WritesStayInOneChunkAndGrowOnlyAtTheEnd)
{
    Stream s(4, 8);
    anvil_test::fail_alloc_after(1000);
    uint32_t n = 5;
    auto *first = static_cast<int *>(array_stream_write(s, &n));
    EXPECT_EQ(anvil_test::alloc_calls(), 1);  // the first chunk, on the first write
    n = 10;
    EXPECT_EQ(array_stream_write(s, &n), first + 5);
    EXPECT_EQ(n, 3u);
    EXPECT_EQ(array_stream_length(s), 8u);
    // Rewriting in place allocates nothing and does not lengthen the stream.
    array_stream_seek(s, 2, SEEK_SET);
    n = 4;
    EXPECT_EQ(array_stream_write(s, &n), first + 2);
    EXPECT_EQ(array_stream_length(s), 8u);
    EXPECT_EQ(anvil_test::alloc_calls(), 1);
    anvil_test::disarm_alloc_failure();
    n = 0;
    EXPECT_EQ(array_stream_write(s, &n), nullptr);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(array_stream_write(s, nullptr), nullptr);
    EXPECT_EQ(cursor(s), 6u);
}

TEST(ArrayStream, TableDoublesAndAddressesNeverMove)
{
    Stream s(4, 1);
    std::vector<int *> where;
    for (int i = 0; i < 40; ++i) {
        anvil_test::fail_alloc_after(1000);
        uint32_t n = 1;
        auto *p = static_cast<int *>(array_stream_write(s, &n));
        // Chunks 9, 17 and 33 first double the table: realloc, then the chunk.
        EXPECT_EQ(anvil_test::alloc_calls(), i == 8 || i == 16 || i == 32 ? 2 : 1) << i;
        anvil_test::disarm_alloc_failure();
        *p = i;
        where.push_back(p);
    }
    for (int i = 0; i < 40; ++i)
        EXPECT_TRUE(array_stream_index(s, i) == where[i] && *where[i] == i) << i;
}

TEST(ArrayStream, ReadsRunsAndSeeksLikeAFile)
{
    Stream s(4, 8);
    append(s, 0, 10);
    EXPECT_EQ(array_stream_seek(s, 0, SEEK_SET), 10u);  // the cursor before the move
    uint32_t n = 99;
    auto *p = static_cast<int *>(array_stream_read(s, &n));
    EXPECT_TRUE(n == 8 && p[7] == 7);
    p = static_cast<int *>(array_stream_read(s, &n));
    EXPECT_TRUE(n == 2 && p[1] == 9);
    errno = 0;
    EXPECT_EQ(array_stream_read(s, &n), nullptr);
    EXPECT_EQ(errno, 0);
    array_stream_seek(s, 7, SEEK_SET);
    for (int i = 7; i < 10; ++i)
        EXPECT_EQ(*static_cast<int *>(array_stream_read(s, nullptr)), i);
    EXPECT_EQ(array_stream_read(s, nullptr), nullptr);

    const struct { int32_t offset; int origin; uint32_t to; } seeks[] = {
        {3, SEEK_SET, 3}, {-5, SEEK_CUR, 0}, {50, SEEK_CUR, 10}, {-4, SEEK_END, 6},
        {INT32_MIN, SEEK_END, 0}, {5, SEEK_SET, 5}, {1, 7, 5}};
    uint32_t at = cursor(s);
    for (auto &k : seeks) {
        EXPECT_EQ(array_stream_seek(s, k.offset, k.origin), at);
        EXPECT_EQ(at = cursor(s), k.to) << k.offset << " from " << k.origin;
    }
    errno = 0;
    EXPECT_EQ(array_stream_index(s, 10), nullptr);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(*static_cast<int *>(array_stream_index(s, 9)), 9);
    EXPECT_EQ(cursor(s), 5u);
}

TEST(ArrayStream, CopyAllGathersEveryChunkWhateverTheCursor)
{
    struct Rec { uint32_t a, b, c; };
    Stream s(sizeof(Rec), 8);
    std::vector<Rec> dest(11, Rec{7, 7, 7});
    array_stream_copy_all(s, dest.data());  // empty: nothing copied
    for (uint32_t i = 0; i < 10; ++i) {
        uint32_t n = 1;
        *static_cast<Rec *>(array_stream_write(s, &n)) = Rec{i, i * 3, ~i};
    }
    array_stream_seek(s, 4, SEEK_SET);
    array_stream_copy_all(s, dest.data());
    for (uint32_t i = 0; i < 10; ++i)
        EXPECT_TRUE(dest[i].a == i && dest[i].b == i * 3 && dest[i].c == ~i) << i;
    EXPECT_EQ(dest[10].a, 7u);
    EXPECT_EQ(cursor(s), 4u);
}

TEST(ArrayStream, ClearAndDropKeepChunksForReuse)
{
    Stream s(4, 8);
    append(s, 0, 20);
    void *start = array_stream_index(s, 0);
    for (uint32_t dropped : {3u, 20u, 100u, 0u}) {
        if (dropped == 0)
            array_stream_clear(s);
        else
            array_stream_drop(s, dropped);
        EXPECT_TRUE(array_stream_length(s) == 0 && cursor(s) == 0) << dropped;
        if (dropped != 0)
            append(s, 0, 20);
    }
    anvil_test::fail_alloc_after(1000);
    uint32_t n = 8;
    EXPECT_EQ(array_stream_write(s, &n), start);
    append(s, 0, 16);  // refills the other two chunks
    EXPECT_EQ(anvil_test::alloc_calls(), 0);
    append(s, 0, 1);
    EXPECT_EQ(anvil_test::alloc_calls(), 1);
    anvil_test::disarm_alloc_failure();
}

TEST(ArrayStream, AllocationFailuresLeaveNothingBehind)
{
    for (int ok = 0; ok < 2; ++ok) {
        anvil_test::fail_alloc_after(ok);
        errno = 0;
        EXPECT_EQ(array_stream_create(4, 8), nullptr);
        EXPECT_EQ(errno, ENOMEM);
        anvil_test::disarm_alloc_failure();
    }
    Stream s(4, 1);
    append(s, 0, 8);
    // The ninth chunk: first the table cannot grow, then the chunk cannot be had.
    for (int ok = 0; ok < 2; ++ok) {
        anvil_test::fail_alloc_after(ok);
        uint32_t n = 1;
        errno = 0;
        EXPECT_EQ(array_stream_write(s, &n), nullptr);
        EXPECT_EQ(errno, ENOMEM);
        anvil_test::disarm_alloc_failure();
        EXPECT_TRUE(array_stream_length(s) == 8 && cursor(s) == 8);
    }
    append(s, 8, 2);
    std::vector<int> all(10);
    array_stream_copy_all(s, all.data());
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(all[i], i);
}
