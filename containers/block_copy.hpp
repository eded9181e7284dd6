// Copying one block of a container's storage.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace anvil {

// Blocks up to this size are copied inline.
inline constexpr size_t kInlineCopyMax = 64;

template <size_t N>
struct Bytes {
    unsigned char b[N];
};

// Copies n bytes, sizeof(T) <= n <= 2 * sizeof(T), as its first and its last
// sizeof(T) bytes, which overlap when n is below 2 * sizeof(T). Both are
// loaded before either is stored.
template <class T>
inline void copy_ends(unsigned char *dst, const unsigned char *src, size_t n)
{
    T head, tail;
    std::memcpy(&head, src, sizeof(T));
    std::memcpy(&tail, src + n - sizeof(T), sizeof(T));
    std::memcpy(dst, &head, sizeof(T));
    std::memcpy(dst + n - sizeof(T), &tail, sizeof(T));
}

// memcpy for non-overlapping blocks. Blocks of up to 64 bytes, the usual
// element sizes, are moved inline with fixed-size loads and stores: cheaper
// than a call into the C library's memcpy, which only wins on larger blocks.
inline void copy_block(unsigned char *dst, const unsigned char *src, size_t n)
{
    if (n > kInlineCopyMax) {
        std::memcpy(dst, src, n);
    } else if (n > 32) {
        copy_ends<Bytes<32>>(dst, src, n);
    } else if (n > 16) {
        copy_ends<Bytes<16>>(dst, src, n);
    } else if (n >= 8) {
        copy_ends<std::uint64_t>(dst, src, n);
    } else if (n >= 4) {
        copy_ends<std::uint32_t>(dst, src, n);
    } else if (n != 0) {
        unsigned char a = src[0], b = src[n / 2], c = src[n - 1];
        dst[0] = a;
        dst[n / 2] = b;
        dst[n - 1] = c;
    }
}

}  // namespace anvil
