#include <anvil/array_stream.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <vector>

#include "support/test_support.hpp"

namespace {

// Asks for n elements; returns the granted room, and the granted count in n.
int *grant(array_stream *s, uint32_t &n) { return static_cast<int *>(array_stream_write(s, &n)); }
int *grant(array_stream *s, uint32_t &&n) { return grant(s, n); }
uint32_t cursor(array_stream *s) { return array_stream_seek(s, 0, SEEK_CUR); }

// Appends n ints counting up from first, looping over the granted pieces.
void append(array_stream *s, int first, uint32_t n)
{
    for (uint32_t k; n != 0; n -= k) {
        int *p = grant(s, k = n);
        ASSERT_TRUE(p && k <= n);
        for (uint32_t i = 0; i < k; ++i)
            p[i] = first++;
    }
}

}  // namespace

TEST(ArrayStream, CreateRefusesBadShapesAndReleasesOnFailure)
{
    array_stream *largest = array_stream_create(1, 0x80000000u);  // 2^31 elements a chunk
    EXPECT_NE(largest, nullptr);
    array_stream_destroy(largest);
    // {element size, chunk, allocations that succeed, errno}; the ENOMEM
    // rows fail to get the handle, then the chunk table.
    const uint32_t bad[][4] = {{0, 8, 9, EINVAL}, {4, 0, 9, EINVAL}, {1, 0x80000001u, 9, EINVAL},
                               {2, 0x80000000u, 9, EINVAL}, {4, 8, 0, ENOMEM}, {4, 8, 1, ENOMEM}};
    for (auto &b : bad) {
        anvil_test::fail_alloc_after(int(b[2]));
        errno = 0;
        EXPECT_TRUE(array_stream_create(b[0], b[1]) == nullptr && errno == int(b[3])) << b[0] << " x " << b[1];
        anvil_test::disarm_alloc_failure();
    }
}

TEST(ArrayStream, TheTableDoublesAndElementsNeverMove)
{
    // One element per chunk: the 9th, 17th and 33rd chunk double the table.
    // At the 9th, the table and then the chunk cannot be had at first.
    array_stream *s = array_stream_create(4, 1);
    std::vector<int *> where;
    where.reserve(40);  // no allocation of the test's own while counting
    for (uint32_t i = 0; i < 40; ++i) {
        for (int ok = 0; i == 8 && ok < 2; ++ok) {
            anvil_test::fail_alloc_after(ok);
            EXPECT_TRUE(grant(s, 1) == nullptr && errno == ENOMEM && array_stream_length(s) == i && cursor(s) == i);
        }
        anvil_test::fail_alloc_after(1000);
        where.push_back(grant(s, 1));
        EXPECT_EQ(anvil_test::alloc_calls(), i == 16 || i == 32 ? 2 : 1) << i;
        anvil_test::disarm_alloc_failure();
        *where.back() = int(i);
    }
    for (uint32_t i = 0; i < 40; ++i)
        EXPECT_TRUE(array_stream_index(s, i) == where[i] && *where[i] == int(i)) << i;
    array_stream_destroy(s);
}

TEST(ArrayStream, WritesReadsSeeksAndCopies)
{
    array_stream *s = array_stream_create(4, 5);  // rounded up to 8 a chunk
    anvil_test::fail_alloc_after(1000);
    int *first = grant(s, 5);
    uint32_t n = 10;
    EXPECT_TRUE(grant(s, n) == first + 5 && n == 3 && array_stream_length(s) == 8);  // cut at the chunk's end
    array_stream_seek(s, 2, SEEK_SET);  // rewriting in place neither allocates nor lengthens
    EXPECT_TRUE(grant(s, n) == first + 2 && array_stream_length(s) == 8);
    EXPECT_EQ(anvil_test::alloc_calls(), 1);  // the first chunk, on the first write
    anvil_test::disarm_alloc_failure();
    EXPECT_TRUE(grant(s, 0) == nullptr && errno == EINVAL);
    EXPECT_TRUE(array_stream_write(s, nullptr) == nullptr && errno == EINVAL && cursor(s) == 5);
    array_stream_seek(s, 0, SEEK_SET);
    append(s, 0, 10);
    EXPECT_EQ(array_stream_seek(s, 0, SEEK_SET), 10u);  // the cursor before the move
    uint32_t m;
    n = 99;  // ignored on entry
    auto *p = static_cast<int *>(array_stream_read(s, &n));
    auto *q = static_cast<int *>(array_stream_read(s, &m));
    EXPECT_TRUE(n == 8 && p[7] == 7 && m == 2 && q[1] == 9);
    errno = 0;
    EXPECT_TRUE(array_stream_read(s, &n) == nullptr && errno == 0);
    array_stream_seek(s, 8, SEEK_SET);
    EXPECT_TRUE(*static_cast<int *>(array_stream_read(s, nullptr)) == 8 && cursor(s) == 9);

    const struct { int32_t offset; int origin; uint32_t to; } seeks[] = {
        {3, SEEK_SET, 3}, {-5, SEEK_CUR, 0}, {50, SEEK_CUR, 10}, {-4, SEEK_END, 6},
        {INT32_MIN, SEEK_END, 0}, {5, SEEK_SET, 5}, {1, 7, 5}};
    for (auto &k : seeks) {
        uint32_t before = cursor(s);
        EXPECT_EQ(array_stream_seek(s, k.offset, k.origin), before);
        EXPECT_EQ(cursor(s), k.to) << k.offset << " from " << k.origin;
    }
    std::vector<int> all(11, -1);
    array_stream_copy_all(s, all.data());
    EXPECT_EQ(all, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, -1}));
    EXPECT_TRUE(array_stream_index(s, 10) == nullptr && errno == EINVAL && cursor(s) == 5);

    // Dropping any count, or clearing, empties the stream but keeps its chunks.
    int *start = static_cast<int *>(array_stream_index(s, 0));
    for (uint32_t dropped : {3u, 100u, 0u}) {
        dropped ? array_stream_drop(s, dropped) : array_stream_clear(s);
        EXPECT_TRUE(array_stream_length(s) == 0 && cursor(s) == 0) << dropped;
        anvil_test::fail_alloc_after(0);
        EXPECT_EQ(grant(s, 8), start);
        append(s, 0, 8);  // fills the second, last chunk
        anvil_test::disarm_alloc_failure();
    }
    array_stream_destroy(s);
}
