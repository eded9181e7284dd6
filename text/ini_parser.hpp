// The parsed INI handle and the pieces shared by its loader and its queries.
#pragma once

#include <cstdint>

#include "anvil/array_stream.h"
#include "anvil/ini.h"

// One key line. Entries live in the array stream and never move, so the
// bucket chains link them by address.
struct ini_entry {
    const char *section;  // inside text, or the constant ""
    const char *key;
    const char *value;
    ini_entry *next;      // the next older entry of the chain
    ini_entry **pprev;    // the link that points at this entry
};

struct ini_parser {
    char *text;              // the file and one extra NUL; names point into it
    std::uint32_t size;      // file length as fstat gave it
    ini_entry **buckets;     // chain heads, newest entry first
    std::uint32_t bucket_count;
    array_stream *entries;   // ini_entry records in file order
};

namespace anvil {

inline constexpr std::uint32_t kIniHashSeed = 5381;

// djb2 step (h = h * 33 + c) over the bytes of s, continuing from h.
// Four bytes at a time, h * 33^4 + (c0 * 33^3 + c1 * 33^2 + c2 * 33 + c3) is
// the same sum modulo 2^32 with one multiplication on the dependency chain
// instead of four.
inline std::uint32_t ini_hash_more(std::uint32_t h, const char *s)
{
    auto *p = reinterpret_cast<const unsigned char *>(s);
    for (; p[0] && p[1] && p[2] && p[3]; p += 4)
        h = h * (33u * 33 * 33 * 33) + (p[0] * (33u * 33 * 33) + p[1] * (33u * 33) + p[2] * 33u + p[3]);
    for (; *p != 0; ++p)
        h = h * 33 + *p;
    return h;
}

// djb2 over section then key, masked to a bucket index.
inline std::uint32_t ini_hash(const char *section, const char *key, std::uint32_t bucket_count)
{
    return ini_hash_more(ini_hash_more(kIniHashSeed, section), key) & (bucket_count - 1);
}

// Parses parser->text in place and indexes every entry; 0, or -1 with errno
// (ENOEXEC for a malformed file, ENOMEM).
int ini_parse(ini_parser *parser);

}  // namespace anvil
