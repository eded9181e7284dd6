#include <anvil/ring_buffer.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>

// Everything else is checked against a model (tests/model).
TEST(RingBuffer, CreateRefusesBadShapes)
{
    // {capacity, element size}
    const uint32_t bad[][2] = {{1, 4}, {8, 0}, {0x80000001u, 1}, {0x80000000u, 2}};
    for (auto &b : bad) {
        errno = 0;
        EXPECT_TRUE(ring_buffer_create(b[0], b[1]) == nullptr && errno == EINVAL) << b[0] << " x " << b[1];
    }
}
