// The power-of-two rounding shared by the array stream and the ring buffer.
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

}  // namespace anvil
