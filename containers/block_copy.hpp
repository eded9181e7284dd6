// Copying one block of a container's storage.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace anvil {

// Blocks up to this size are copied inline.
inline constexpr size_t kInlineCopyMax = 64;

// memcpy for non-overlapping blocks. Blocks of up to 64 bytes, the usual
// element sizes, are moved inline with possibly overlapping fixed-size loads
// and stores: cheaper than a call into the C library's memcpy, which only
// wins on larger blocks.
inline void copy_block(unsigned char *dst, const unsigned char *src, size_t n)
{
    struct Bytes16 {
        unsigned char b[16];
    };
    if (n > kInlineCopyMax) {
        std::memcpy(dst, src, n);
    } else if (n > 32) {
        Bytes16 a, b, c, d;
        std::memcpy(&a, src, 16);
        std::memcpy(&b, src + 16, 16);
        std::memcpy(&c, src + n - 32, 16);
        std::memcpy(&d, src + n - 16, 16);
        std::memcpy(dst, &a, 16);
        std::memcpy(dst + 16, &b, 16);
        std::memcpy(dst + n - 32, &c, 16);
        std::memcpy(dst + n - 16, &d, 16);
    } else if (n > 16) {
        Bytes16 a, b;
        std::memcpy(&a, src, 16);
        std::memcpy(&b, src + n - 16, 16);
        std::memcpy(dst, &a, 16);
        std::memcpy(dst + n - 16, &b, 16);
    } else if (n >= 8) {
        std::uint64_t a, b;
        std::memcpy(&a, src, 8);
        std::memcpy(&b, src + n - 8, 8);
        std::memcpy(dst, &a, 8);
        std::memcpy(dst + n - 8, &b, 8);
    } else if (n >= 4) {
        std::uint32_t a, b;
        std::memcpy(&a, src, 4);
        std::memcpy(&b, src + n - 4, 4);
        std::memcpy(dst, &a, 4);
        std::memcpy(dst + n - 4, &b, 4);
    } else if (n != 0) {
        unsigned char a = src[0], b = src[n / 2], c = src[n - 1];
        dst[0] = a;
        dst[n / 2] = b;
        dst[n - 1] = c;
    }
}

}  // namespace anvil
