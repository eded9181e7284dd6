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
    for (uint32_t k; n != 0; n -= k) {
        k = n;
        auto *p = static_cast<int *>(array_stream_write(s, &k));
        ASSERT_TRUE(p && k <= n);
        for (uint32_t i = 0; i < k; ++i)
            p[i] = first++;
    }
}

uint32_t cursor(array_stream *s) { return array_stream_seek(s, 0, SEEK_CUR); }

}  // namespace

TEST(ArrayStream, ChunkShapes)
{
    const uint32_t shapes[][3] = {{1, 4096, 4096}, {20, 32, 32}, {4, 5, 8}, {4, 1, 1}};
    for (auto &c : shapes) {
        Stream s(c[0], c[1]);
        uint32_t n = 100000;
        EXPECT_NE(array_stream_write(s, &n), nullptr);
        EXPECT_EQ(n, c[2]);
    }
    EXPECT_NE(Stream(1, 0x80000000u).s, nullptr);  // the largest chunk there is
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
    EXPECT_TRUE(n == 3 && array_stream_length(s) == 8);
    array_stream_seek(s, 2, SEEK_SET);  // rewriting in place neither allocates nor lengthens
    EXPECT_EQ(array_stream_write(s, &n), first + 2);
    EXPECT_TRUE(array_stream_length(s) == 8 && anvil_test::alloc_calls() == 1);
    anvil_test::disarm_alloc_failure();
    n = 0;
    EXPECT_EQ(array_stream_write(s, &n), nullptr);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(array_stream_write(s, nullptr), nullptr);
    EXPECT_EQ(cursor(s), 5u);

    // One element per chunk: chunks 9, 17 and 33 first double the table.
    Stream one(4, 1);
    std::vector<int *> where;
    where.reserve(40);  // no allocation of the test's own while counting
    for (int i = 0; i < 40; ++i) {
        anvil_test::fail_alloc_after(1000);
        n = 1;
        where.push_back(static_cast<int *>(array_stream_write(one, &n)));
        EXPECT_EQ(anvil_test::alloc_calls(), i == 8 || i == 16 || i == 32 ? 2 : 1) << i;
        anvil_test::disarm_alloc_failure();
        *where.back() = i;
    }
    for (int i = 0; i < 40; ++i)  // no element ever moved
        EXPECT_TRUE(array_stream_index(one, i) == where[i] && *where[i] == i) << i;
}

TEST(ArrayStream, ReadsRunsSeeksAndCopies)
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
    array_stream_seek(s, 8, SEEK_SET);
    EXPECT_EQ(*static_cast<int *>(array_stream_read(s, nullptr)), 8);
    EXPECT_EQ(cursor(s), 9u);

    const struct { int32_t offset; int origin; uint32_t to; } seeks[] = {
        {3, SEEK_SET, 3}, {-5, SEEK_CUR, 0}, {50, SEEK_CUR, 10}, {-4, SEEK_END, 6},
        {INT32_MIN, SEEK_END, 0}, {5, SEEK_SET, 5}, {1, 7, 5}};
    for (auto &k : seeks) {
        uint32_t at = cursor(s);
        EXPECT_EQ(array_stream_seek(s, k.offset, k.origin), at);
        EXPECT_EQ(cursor(s), k.to) << k.offset << " from " << k.origin;
    }
    EXPECT_EQ(array_stream_index(s, 10), nullptr);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(*static_cast<int *>(array_stream_index(s, 9)), 9);
    std::vector<int> all(11, -1);
    array_stream_copy_all(s, all.data());
    EXPECT_EQ(all, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, -1}));
    EXPECT_EQ(cursor(s), 5u);
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
        EXPECT_EQ(array_stream_create(4, 8), nullptr);
        EXPECT_EQ(errno, ENOMEM);
        anvil_test::disarm_alloc_failure();
    }
    Stream s(4, 1);
    append(s, 0, 8);
    for (int ok = 0; ok < 2; ++ok) {  // the table cannot grow; then the chunk cannot be had
        anvil_test::fail_alloc_after(ok);
        uint32_t n = 1;
        EXPECT_EQ(array_stream_write(s, &n), nullptr);
        EXPECT_EQ(errno, ENOMEM);
        anvil_test::disarm_alloc_failure();
        EXPECT_TRUE(array_stream_length(s) == 8 && cursor(s) == 8);
    }
    append(s, 8, 1);
    EXPECT_EQ(*static_cast<int *>(array_stream_index(s, 8)), 8);
}
