#include <anvil/bitmap.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

namespace {

// Bit by bit: the lowest bit equal to want in offset .. size - 1, or size.
uint32_t reference_find(const std::vector<uint32_t> &m, uint32_t size, uint32_t offset, bool want)
{
    for (uint32_t k = offset; k < size; ++k)
        if ((m[k >> 5] >> (k & 31) & 1) == want)
            return k;
    return size;
}

}  // namespace

// Random maps of 0 to 200 bits searched from every offset, then a random run
// set or cleared. Each map has exactly its words, so AddressSanitizer sees any
// access past them.
TEST(Bitmap, MatchesBitByBitReference)
{
    std::mt19937 engine(20240531);
    auto rng = [&engine] { return static_cast<uint32_t>(engine()); };
    for (int trial = 0; trial < 2000; ++trial) {
        const uint32_t size = rng() % 201;
        std::vector<uint32_t> m((size + 31) / 32);
        for (auto &w : m)  // sparse, dense, all clear, all set
            w = trial % 4 == 0 ? rng() & rng() & rng() : trial % 4 == 1 ? rng() | rng() : trial % 4 == 2 ? 0 : ~0u;
        ASSERT_EQ(find_first_bit(m.data(), size), reference_find(m, size, 0, true));
        ASSERT_EQ(find_first_zero_bit(m.data(), size), reference_find(m, size, 0, false));
        for (uint32_t off = 0; off <= size + 1; ++off) {
            ASSERT_EQ(find_next_bit(m.data(), size, off), reference_find(m, size, off, true));
            ASSERT_EQ(find_next_zero_bit(m.data(), size, off), reference_find(m, size, off, false));
        }
        ASSERT_EQ(find_next_bit(nullptr, size, size) + find_next_zero_bit(nullptr, size, size + 5), 2 * size);
        const uint32_t start = size ? rng() % size : 0;
        const auto count = static_cast<int32_t>(rng() % (size - start + 1));
        const bool set = rng() & 1;
        std::vector<uint32_t> want = m;
        for (uint32_t k = start; k < start + count; ++k)
            want[k >> 5] = set ? want[k >> 5] | 1u << (k & 31) : want[k >> 5] & ~(1u << (k & 31));
        (set ? bitmap_set : bitmap_clear)(m.data(), start, count);
        ASSERT_EQ(m, want) << start << "+" << count;
    }
}
