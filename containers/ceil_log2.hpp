// The power-of-two rounding and its limits, shared by the array stream and
// the ring buffer.
#pragma once

#include <bit>
#include <cstdint>

namespace anvil {

// The smallest k with 2^k >= x, or -1 for x = 0; 2^31 + 1 and above give 32.
// bit_width(x - 1) is the number of right shifts that take x - 1 to 0, which
// is the same count as shifting x itself and subtracting one for an exact
// power of two.
constexpr int ceil_log2(std::uint32_t x)
{
    return x == 0 ? -1 : static_cast<int>(std::bit_width(x - 1));
}

static_assert(ceil_log2(1) == 0 && ceil_log2(2) == 1 && ceil_log2(3) == 2 &&
              ceil_log2(4) == 2 && ceil_log2(5) == 3 && ceil_log2(4096) == 12 &&
              ceil_log2(0x80000000u) == 31 && ceil_log2(0x80000001u) == 32 &&
              ceil_log2(0xffffffffu) == 32);

// The k of the 2^k elements that count is rounded up to, or -1 when there
// is no such block: count or element_size is 0, 2^k is above 2^31, or 2^k
// elements of element_size bytes would not fit in 32 bits.
constexpr int pow2_block_shift(std::uint32_t count, std::uint32_t element_size)
{
    int shift = ceil_log2(count);
    if (count == 0 || element_size == 0 || shift > 31 ||
        (std::uint64_t{element_size} << shift) > UINT32_MAX)
        return -1;
    return shift;
}

static_assert(pow2_block_shift(5, 4) == 3 && pow2_block_shift(0x80000000u, 1) == 31 &&
              pow2_block_shift(0x80000000u, 2) == -1 && pow2_block_shift(0x80000001u, 1) == -1);

}  // namespace anvil
