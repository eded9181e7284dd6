#include <anvil/hash.h>
#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <random>
#include <string>

namespace {

using u32 = std::uint32_t;
using HashFn = u32 (*)(const char *);

struct Reference {
    const char *name;
    HashFn fn;
    u32 empty, a, abc, hello;  // "", "a", "abc", "hello world"
};

const Reference kReference[] = {
    {"RS", RSHash, 0, 97, 0xB1012AAC, 0xC18E10D4},
    {"JS", JSHash, 0x4E67C6A7, 0xAEF5004D, 0x1A9B17A1, 0xBC6BE306},
    {"PJW", PJWHash, 0, 97, 0x00006783, 0x0114AC14},
    {"ELF", ELFHash, 0, 97, 0x00006783, 0x0114AC14},
    {"BKDR", BKDRHash, 0, 97, 0x001998F2, 0x4E195644},
    {"SDBM", SDBMHash, 0, 97, 0x3025F862, 0x19AE84C4},
    {"DJB", DJBHash, 5381, 177670, 0x0B885C8B, 0x3551C8C1},
    {"DEK", DEKHash, 0, 65, 0x00000823, 0x836A8A9F},
    {"BP", BPHash, 0, 97, 0x00187163, 0x7DFCB664},
    {"FNV", FNVHash, 0, 97, 0xF355C740, 0xCFB0BFE0},
    {"AP", APHash, 0xAAAAAAAA, 0xEAAAAA9F, 0x25C7FF88, 0x9F236AE6},
};

}  // namespace

TEST(Hash, ReferenceValues)
{
    for (const auto &r : kReference) {
        SCOPED_TRACE(r.name);
        EXPECT_EQ(r.fn(""), r.empty);
        EXPECT_EQ(r.fn("a"), r.a);
        EXPECT_EQ(r.fn("abc"), r.abc);
        EXPECT_EQ(r.fn("hello world"), r.hello);
        // Bytes after an embedded NUL are not part of the string.
        EXPECT_EQ(r.fn("abc\0def"), r.abc);
    }
}

TEST(Hash, HighBytesEnterUnsigned)
{
    const char s[] = "\xFF\x80\x61";
    EXPECT_EQ(BKDRHash(s), 0x004307D8u);
    EXPECT_EQ(APHash(s), 0x793BD0F1u);
    EXPECT_EQ(RSHash(s), 0xB75C0FCAu);
    // 0xFF is 255, not -1: a one-byte string hashes to the byte itself.
    EXPECT_EQ(FNVHash("\xFF"), 255u);
    EXPECT_EQ(BPHash("\xFF"), 255u);
}

TEST(Hash, PjwEqualsElf)
{
    std::mt19937 rng(7);
    std::string s;
    for (int i = 0; i < 2000; ++i) {
        s.resize(rng() % 64);
        for (char &c : s)
            c = static_cast<char>(1 + rng() % 255);
        ASSERT_EQ(PJWHash(s.c_str()), ELFHash(s.c_str())) << "length " << s.size();
    }
}

// The hashes that consume several bytes per step must agree with the
// one-byte recurrence at every length, whatever bytes end the string.
TEST(Hash, EveryLengthFollowsTheRecurrence)
{
    struct Linear {
        HashFn fn;
        u32 (*step)(u32, u32);
    };
    const Linear linear[] = {
        {BKDRHash, [](u32 h, u32 c) { return h * 131 + c; }},
        {SDBMHash, [](u32 h, u32 c) { return c + (h << 6) + (h << 16) - h; }},
        {DJBHash, [](u32 h, u32 c) { return (h << 5) + h + c; }},
        {BPHash, [](u32 h, u32 c) { return (h << 7) ^ c; }},
    };
    std::string s;
    for (int n = 0; n < 40; ++n) {
        s += static_cast<char>(n % 2 ? 0x80 + n : 'A' + n);
        std::string prefix = s.substr(0, s.size() - 1);
        u32 c = static_cast<unsigned char>(s.back());
        for (const auto &l : linear)
            ASSERT_EQ(l.fn(s.c_str()), l.step(l.fn(prefix.c_str()), c)) << "length " << s.size();
        // DEKHash starts from the length, so compare with its definition.
        u32 dek = static_cast<u32>(s.size());
        for (unsigned char b : s)
            dek = std::rotl(dek, 5) ^ b;
        ASSERT_EQ(DEKHash(s.c_str()), dek) << "length " << s.size();
    }
}
