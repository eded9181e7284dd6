#include <anvil/array_stream.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>

// Everything else is checked against a model (tests/model).
TEST(ArrayStream, RefusesBadShapesAndNoCount)
{
    array_stream *largest = array_stream_create(1, 0x80000000u);  // 2^31 elements a chunk
    ASSERT_NE(largest, nullptr);
    errno = 0;
    EXPECT_TRUE(array_stream_write(largest, nullptr) == nullptr && errno == EINVAL);
    array_stream_destroy(largest);
    // {element size, chunk}
    const uint32_t bad[][2] = {{0, 8}, {4, 0}, {1, 0x80000001u}, {2, 0x80000000u}};
    for (auto &b : bad) {
        errno = 0;
        EXPECT_TRUE(array_stream_create(b[0], b[1]) == nullptr && errno == EINVAL) << b[0] << " x " << b[1];
    }
}
