// The parsed INI handle and the pieces shared by its loader and its queries.
#pragma once

#include <cstdint>

#include "anvil/array_stream.h"
#include "anvil/ini.h"
#include "base/djb2.hpp"

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

// djb2 over section then key, masked to a bucket index.
inline std::uint32_t ini_hash(const char *section, const char *key, std::uint32_t bucket_count)
{
    return djb2_more(djb2_more(kDjb2Seed, section), key) & (bucket_count - 1);
}

// Parses parser->text in place and indexes every entry; 0, or -1 with errno
// (ENOEXEC for a malformed file, ENOMEM).
int ini_parse(ini_parser *parser);

}  // namespace anvil
