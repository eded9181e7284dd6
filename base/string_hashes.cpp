// The eleven string hashes: one byte loop, one step per hash.
#include "anvil/hash.h"

#include <bit>
#include <cstdint>
#include <cstring>

namespace {

using u32 = std::uint32_t;

// Hashes whose step is linear (in the ring of 32-bit integers, or over bits
// with xor) also provide step4, four steps folded into one expression. It
// gives the same value as four calls of step, but its dependency chain from
// one hash value to the next is one step long instead of four.
template <class H>
concept Foldable = requires(H h, u32 c) { h.step4(c, c, c, c); };

// Applies the hash's step to every byte before the NUL, in order. Bytes are
// read one at a time, never past the NUL.
template <class H>
inline u32 hash_string(const char *str, H h)
{
    auto p = reinterpret_cast<const unsigned char *>(str);
    if constexpr (Foldable<H>) {
        for (;; p += 4) {
            u32 c0 = p[0];
            if (c0 == 0)
                return h.hash;
            u32 c1 = p[1];
            if (c1 == 0) {
                h.step(c0);
                return h.hash;
            }
            u32 c2 = p[2];
            if (c2 == 0) {
                h.step(c0);
                h.step(c1);
                return h.hash;
            }
            u32 c3 = p[3];
            if (c3 == 0) {
                h.step(c0);
                h.step(c1);
                h.step(c2);
                return h.hash;
            }
            h.step4(c0, c1, c2, c3);
        }
    } else {
        // Hashes whose first steps need less work do those first.
        if constexpr (requires { H::kPlainSteps; }) {
            for (int i = 0; i < H::kPlainSteps; ++i, ++p) {
                if (*p == 0)
                    return h.hash;
                h.plain_step(*p);
            }
        }
        for (; *p != 0; ++p)
            h.step(*p);
        return h.hash;
    }
}

// hash * M + c, folded: hash * M^4 + c0 * M^3 + c1 * M^2 + c2 * M + c3.
template <u32 M>
struct Multiplicative {
    u32 hash;
    void step(u32 c) { hash = hash * M + c; }
    void step4(u32 c0, u32 c1, u32 c2, u32 c3)
    {
        constexpr u32 m2 = M * M, m3 = m2 * M, m4 = m3 * M;
        hash = hash * m4 + (c0 * m3 + c1 * m2 + (c2 * M + c3));
    }
};

struct Rs {
    u32 hash = 0;
    u32 a = 63689;
    void step(u32 c)
    {
        hash = hash * a + c;
        a *= 378551;
    }
};

struct Js {
    u32 hash = 1315423911;
    void step(u32 c) { hash ^= (hash << 5) + c + (hash >> 2); }
};

// PJW and ELF are the same function. (hash << 4) + c has its top four bits
// cleared and folded into bits 4 to 7, without a test: when they are 0 the
// fold changes nothing, and a branch on hashed bits is mispredicted on
// varied text. (x ^ (high >> 24)) & ~high is computed as
// (x & 0x0FFFFFFF) ^ ((x >> 24) & 0xF0), one operation shorter on the
// chain from one hash value to the next.
struct Pjw {
    // One eighth, three quarters and the top eighth of a 32-bit word.
    static constexpr u32 kOneEighth = 4, kThreeQuarters = 24, kHighBits = 0xF0000000;
    // The hash stays below 2^28 after every step, and five steps from there
    // stay below 17 * 16^5 < 2^28 without folding, so the first five bytes
    // need no fold.
    static constexpr int kPlainSteps = 5;
    u32 hash = 0;
    void plain_step(u32 c) { hash = (hash << kOneEighth) + c; }
    void step(u32 c)
    {
        u32 x = (hash << kOneEighth) + c;
        hash = (x & ~kHighBits) ^ ((x >> kThreeQuarters) & (kHighBits >> kThreeQuarters));
    }
};

struct Dek {
    u32 hash;
    void step(u32 c) { hash = std::rotl(hash, 5) ^ c; }
    // Rotation distributes over xor; c < 256, so c0 << 15 does not wrap.
    void step4(u32 c0, u32 c1, u32 c2, u32 c3)
    {
        hash = std::rotl(hash, 20) ^ ((c0 << 15) ^ (c1 << 10) ^ (c2 << 5) ^ c3);
    }
};

struct Bp {
    u32 hash = 0;
    void step(u32 c) { hash = (hash << 7) ^ c; }
    // A shift distributes over xor.
    void step4(u32 c0, u32 c1, u32 c2, u32 c3)
    {
        hash = (hash << 28) ^ ((c0 << 21) ^ (c1 << 14) ^ (c2 << 7) ^ c3);
    }
};

struct Fnv {
    u32 hash = 0;
    void step(u32 c) { hash = (hash * 0x811C9DC5) ^ c; }
};

struct Ap {
    u32 hash = 0xAAAAAAAA;
    bool odd = false;
    void step(u32 c)
    {
        if (odd)
            hash ^= ~((hash << 11) + (c ^ (hash >> 5)));
        else
            hash ^= (hash << 7) ^ (c * (hash >> 3));
        odd = !odd;
    }
};

}  // namespace

u32 RSHash(const char *str) { return hash_string(str, Rs{}); }
u32 JSHash(const char *str) { return hash_string(str, Js{}); }
u32 PJWHash(const char *str) { return hash_string(str, Pjw{}); }
u32 ELFHash(const char *str) { return hash_string(str, Pjw{}); }
u32 BKDRHash(const char *str) { return hash_string(str, Multiplicative<131>{0}); }
// c + (hash << 6) + (hash << 16) - hash, that is hash * (64 + 65536 - 1) + c.
u32 SDBMHash(const char *str) { return hash_string(str, Multiplicative<65599u>{0}); }
// (hash << 5) + hash + c, that is hash * 33 + c.
u32 DJBHash(const char *str) { return hash_string(str, Multiplicative<33>{5381}); }
u32 DEKHash(const char *str) { return hash_string(str, Dek{static_cast<u32>(std::strlen(str))}); }
u32 BPHash(const char *str) { return hash_string(str, Bp{}); }
u32 FNVHash(const char *str) { return hash_string(str, Fnv{}); }
u32 APHash(const char *str) { return hash_string(str, Ap{}); }
