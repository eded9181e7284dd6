#include <anvil/hash.h>
#include <gtest/gtest.h>

#include <cstdint>

using u32 = std::uint32_t;

// Every length modulo 4, with and without whole groups of four bytes before
// the end, and bytes above 0x7F in every position of such a group: the
// hashes that fold four bytes into one step take every path.
const char *const kInputs[] = {"", "a", "abc", "hello world", "\xFF\x80\x61",
                               "\xFE\x80\xFF\x81\x7F\x01", "\x81\xFE\x7F\x9Dhi\xC3\xFF"};

// The wanted hash of each input, in order.
const struct { const char *name; u32 (*fn)(const char *); u32 want[7]; } kReference[] = {
    {"RS", RSHash, {0, 97, 0xB1012AAC, 0xC18E10D4, 0xB75C0FCA, 0xBAFEC4E2, 0xAE7CAC4C}},
    {"JS", JSHash, {0x4E67C6A7, 0xAEF5004D, 0x1A9B17A1, 0xBC6BE306, 0x1A9F6D46, 0xCF092749, 0x25991AFA}},
    {"PJW", PJWHash, {0, 97, 0x6783, 0x114AC14, 0x10761, 0x7078E1, 0x693FD3F}},
    {"ELF", ELFHash, {0, 97, 0x6783, 0x114AC14, 0x10761, 0x7078E1, 0x693FD3F}},
    {"BKDR", BKDRHash, {0, 97, 0x1998F2, 0x4E195644, 0x4307D8, 0x766B5A86, 0xC120F04}},
    {"SDBM", SDBMHash, {0, 97, 0x3025F862, 0x19AE84C4, 0x7E119160, 0x8E86DA86, 0x6DBA1198}},
    {"DJB", DJBHash, {5381, 177670, 0xB885C8B, 0x3551C8C1, 0xB8B0085, 0x61F79EC3, 0x1CBAE613}},
    {"DEK", DEKHash, {0, 65, 0x823, 0x836A8A9F, 0x26C61, 0x747D8BE1, 0x77E5B0A8}},
    {"BP", BPHash, {0, 97, 0x187163, 0x7DFCB664, 0x3F8061, 0x1FC07F81, 0xDD1A217F}},
    {"FNV", FNVHash, {0, 97, 0xF355C740, 0xCFB0BFE0, 0x73354186, 0x21C44B26, 0x6E4CC194}},
    {"AP", APHash, {0xAAAAAAAA, 0xEAAAAA9F, 0x25C7FF88, 0x9F236AE6, 0x793BD0F1, 0x7BC36B8B, 0xF6379493}},
};

TEST(Hash, ReferenceValues)
{
    for (const auto &r : kReference) {
        SCOPED_TRACE(r.name);
        for (int i = 0; i < 7; ++i)
            EXPECT_EQ(r.fn(kInputs[i]), r.want[i]) << "input " << i;
        EXPECT_EQ(r.fn("abc\0def"), r.want[2]);  // the string ends at the first NUL
    }
}
