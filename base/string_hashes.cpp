// The eleven string hashes: one byte loop, one step per hash; DJB shares the
// INI index's word fold.
#include "anvil/hash.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/djb2.hpp"

namespace {

using u32 = std::uint32_t;

// Hashes whose step is linear (in the ring of 32-bit integers, or over bits
// with xor) also provide step4, four steps folded into one expression. It
// gives the same value as four calls of step, but its dependency chain from
// one hash value to the next is one step long instead of four.
template <class H>
concept Foldable = requires(H h, u32 c) { h.step4(c, c, c, c); };

// Hashes whose step differs between bytes at even and odd indices provide
// step_even and step_odd instead of step.
template <class H>
concept Alternating = requires(H h, u32 c) { h.step_odd(c); };

// Applies the step of the byte at index kIndex (modulo 4) to c, unless c is
// the NUL; false for the NUL.
template <int kIndex, class H>
inline bool step_at(H &h, u32 c)
{
    if (c == 0)
        return false;
    if constexpr (!Alternating<H>)
        h.step(c);
    else if constexpr (kIndex % 2 == 0)
        h.step_even(c);
    else
        h.step_odd(c);
    return true;
}

// Applies the hash's step to every byte before the NUL, in order. Bytes are
// read one at a time, never past the NUL, four to a loop iteration: the loop
// branch is taken once per four bytes, not once per byte.
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
            static_assert(H::kPlainSteps % 2 == 0 || !Alternating<H>);
            for (int i = 0; i < H::kPlainSteps; ++i, ++p) {
                if (*p == 0)
                    return h.hash;
                h.plain_step(*p);
            }
        }
        // Each byte is read only when the one before it was not the NUL.
        for (;; p += 4) {
            if (!step_at<0>(h, p[0]) || !step_at<1>(h, p[1]) || !step_at<2>(h, p[2]) ||
                !step_at<3>(h, p[3]))
                return h.hash;
        }
    }
}

// The bytes' share of a folded step, summed apart from the hash: left to
// itself the compiler adds the terms into the hash one at a time, four
// additions on the chain from one hash value to the next instead of one.
inline u32 bytes_part(u32 x)
{
#if defined(__has_builtin)
#if __has_builtin(__builtin_assoc_barrier)
    return __builtin_assoc_barrier(x);
#endif
#endif
    return x;
}

// hash * M + c, folded: hash * M^4 + c0 * M^3 + c1 * M^2 + c2 * M + c3.
template <u32 M>
struct Multiplicative {
    u32 hash;
    void step(u32 c) { hash = hash * M + c; }
    void step4(u32 c0, u32 c1, u32 c2, u32 c3)
    {
        constexpr u32 m2 = M * M, m3 = m2 * M, m4 = m3 * M;
        hash = hash * m4 + bytes_part(c0 * m3 + c1 * m2 + (c2 * M + c3));
    }
};

// The multiplier of byte i is a * b^i. The step is linear in the hash, so
// four steps fold into hash * m0 + (c0 * m1 + c1 * m2 + c2 * m3 + c3), where
// m3 = a b^3 is the multiplier of the fourth byte, m2 = m3 * a b^2,
// m1 = m2 * a b and m0 = m1 * a, a being that of the first: one
// multiplication on the chain from one hash value to the next instead of
// four. Four bytes on, a has grown by b^4, so each m by a power of b. The m
// are kept as state of their own: derived from a at each step, the compiler
// would factor them back into the four-step chain.
struct Rs {
    static constexpr u32 kA = 63689, kB = 378551;
    static constexpr u32 pow(u32 x, int n) { return n == 0 ? 1 : x * pow(x, n - 1); }
    u32 hash = 0;
    u32 a = kA;
    u32 m0 = pow(kA, 4) * pow(kB, 6), m1 = pow(kA, 3) * pow(kB, 6);
    u32 m2 = pow(kA, 2) * pow(kB, 5), m3 = kA * pow(kB, 3);
    void step(u32 c)
    {
        hash = hash * a + c;
        a *= kB;
    }
    void step4(u32 c0, u32 c1, u32 c2, u32 c3)
    {
        hash = hash * m0 + bytes_part(c0 * m1 + c1 * m2 + (c2 * m3 + c3));
        a *= pow(kB, 4);
        m0 *= pow(kB, 16);
        m1 *= pow(kB, 12);
        m2 *= pow(kB, 8);
        m3 *= pow(kB, 4);
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
        hash = std::rotl(hash, 20) ^ bytes_part((c0 << 15) ^ (c1 << 10) ^ (c2 << 5) ^ c3);
    }
};

struct Bp {
    u32 hash = 0;
    void step(u32 c) { hash = (hash << 7) ^ c; }
};

struct Fnv {
    u32 hash = 0;
    void step(u32 c) { hash = (hash * 0x811C9DC5) ^ c; }
};

// x ^ (y ^ z) and x ^ ~y regrouped as (x ^ y) ^ z and ~x ^ y: the part taken
// from the hash alone is computed beside the part that involves the byte.
struct Ap {
    u32 hash = 0xAAAAAAAA;
    void step_even(u32 c) { hash = (hash ^ (hash << 7)) ^ (c * (hash >> 3)); }
    void step_odd(u32 c) { hash = ~hash ^ ((hash << 11) + (c ^ (hash >> 5))); }
};

}  // namespace

// Each function starts a 64-byte block, so that where its loop falls among
// the instruction fetch blocks does not depend on what the rest of the
// library puts before it: on short strings that placement alone moved some
// of them by a third.
[[gnu::aligned(64)]] u32 RSHash(const char *str) { return hash_string(str, Rs{}); }
[[gnu::aligned(64)]] u32 JSHash(const char *str) { return hash_string(str, Js{}); }
[[gnu::aligned(64)]] u32 PJWHash(const char *str) { return hash_string(str, Pjw{}); }
[[gnu::aligned(64)]] u32 ELFHash(const char *str) { return hash_string(str, Pjw{}); }
[[gnu::aligned(64)]] u32 BKDRHash(const char *str) { return hash_string(str, Multiplicative<131>{0}); }
// c + (hash << 6) + (hash << 16) - hash, that is hash * (64 + 65536 - 1) + c.
[[gnu::aligned(64)]] u32 SDBMHash(const char *str) { return hash_string(str, Multiplicative<65599u>{0}); }
// (hash << 5) + hash + c, that is hash * 33 + c: the fold the INI index
// uses too, whole words at a time once the length is known.
[[gnu::aligned(64)]] u32 DJBHash(const char *str) { return anvil::djb2_more(anvil::kDjb2Seed, str); }
[[gnu::aligned(64)]] u32 DEKHash(const char *str) { return hash_string(str, Dek{static_cast<u32>(std::strlen(str))}); }
// Every step shifts the hash left by 7, so a byte five or more places before
// the end has been shifted out of all 32 bits (7 * 5 > 31): the hash is that
// of the last five bytes, whatever precedes them.
[[gnu::aligned(64)]] u32 BPHash(const char *str)
{
    std::size_t n = std::strlen(str);
    return hash_string(str + (n > 5 ? n - 5 : 0), Bp{});
}
[[gnu::aligned(64)]] u32 FNVHash(const char *str) { return hash_string(str, Fnv{}); }
[[gnu::aligned(64)]] u32 APHash(const char *str) { return hash_string(str, Ap{}); }
