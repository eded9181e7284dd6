// djb2 (h = h * 33 + c per byte, from 5381): DJBHash, and the INI index
// over section and key.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace anvil {

inline constexpr std::uint32_t kDjb2Seed = 5381;

// The djb2 steps over four bytes x0..x3, x0 first (the low byte of a
// little-endian load): h * 33^4 + (x0 * 33^3 + x1 * 33^2 + x2 * 33 + x3), the
// same sum modulo 2^32 with one multiplication on the chain from one hash to
// the next instead of four. The inner sum is built in lanes: x0 * 33 + x1 and
// x2 * 33 + x3 side by side in 16-bit lanes (at most 8670, no carry), then
// the two lanes joined.
inline std::uint32_t djb2_word(std::uint32_t h, std::uint32_t x)
{
    std::uint32_t pairs = (x & 0x00FF00FFu) * 33 + ((x >> 8) & 0x00FF00FFu);
    return h * (33u * 33 * 33 * 33) + ((pairs & 0xFFFFu) * (33u * 33) + (pairs >> 16));
}

// The same over eight bytes: pairs in 16-bit lanes, then fours in 32-bit
// lanes (at most 9 450 300), then the two fours joined.
inline std::uint32_t djb2_word(std::uint32_t h, std::uint64_t x)
{
    constexpr std::uint32_t k33e4 = 33u * 33 * 33 * 33;
    constexpr std::uint64_t k33e2 = 1089;  // 33^2, in the width of the lanes
    std::uint64_t pairs = (x & 0x00FF00FF00FF00FFu) * 33 + ((x >> 8) & 0x00FF00FF00FF00FFu);
    std::uint64_t fours = (pairs & 0x0000FFFF0000FFFFu) * k33e2 + ((pairs >> 16) & 0x0000FFFF0000FFFFu);
    auto first = static_cast<std::uint32_t>(fours), second = static_cast<std::uint32_t>(fours >> 32);
    return h * (k33e4 * k33e4) + (first * k33e4 + second);
}

// djb2 step (h = h * 33 + c) over the bytes of s, continuing from h. The
// length is taken first, so that the bytes then go in whole words of eight
// (on 64-bit targets) or four, with no test for the NUL between them; the
// tail goes byte by byte.
inline std::uint32_t djb2_more(std::uint32_t h, const char *s)
{
    auto *p = reinterpret_cast<const unsigned char *>(s);
    std::size_t n = std::strlen(s);
    if constexpr (std::endian::native == std::endian::little) {
        using Word = std::conditional_t<sizeof(void *) >= 8, std::uint64_t, std::uint32_t>;
        for (; n >= sizeof(Word); p += sizeof(Word), n -= sizeof(Word)) {
            Word x;
            std::memcpy(&x, p, sizeof x);
            h = djb2_word(h, x);
        }
        if (n >= 4) {
            std::uint32_t x;
            std::memcpy(&x, p, sizeof x);
            h = djb2_word(h, x);
            p += 4;
            n -= 4;
        }
    }
    for (; n != 0; --n, ++p)
        h = h * 33 + *p;
    return h;
}

}  // namespace anvil
