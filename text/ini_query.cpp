// Queries of a parsed INI handle: iteration in file order and typed lookups.
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/errno_guard.hpp"
#include "text/ini_parser.hpp"

namespace {

// The value of the newest entry for (section, key), or null with ENOKEY.
const char *ini_lookup(const ini_parser *parser, const char *section, const char *key)
{
    std::uint32_t b = anvil::ini_hash(section, key, parser->bucket_count);
    for (const ini_entry *e = parser->buckets[b]; e != nullptr; e = e->next) {
        if (std::strcmp(section, e->section) == 0 && std::strcmp(key, e->key) == 0)
            return e->value;
    }
    return anvil::fail(ENOKEY, static_cast<const char *>(nullptr));
}

// strtoul in base 16 with a 32-bit unsigned long, wherever long is wider:
// a magnitude above 32 bits overflows, and a '-' negates modulo 2^32.
std::uint32_t strtoul32_hex(const char *s)
{
    unsigned long v = std::strtoul(s, nullptr, 16);
    if constexpr (sizeof(unsigned long) > sizeof(std::uint32_t)) {
        if (v == ULONG_MAX && errno == ERANGE)
            return UINT32_MAX;
        while (std::isspace(static_cast<unsigned char>(*s)))
            ++s;
        unsigned long magnitude = *s == '-' ? 0 - v : v;
        // cppcheck-suppress compareValueOutOfTypeRangeError ; only where long is wider
        if (magnitude > UINT32_MAX)
            return anvil::fail(ERANGE, std::uint32_t(UINT32_MAX));
    }
    return static_cast<std::uint32_t>(v);
}

// ASCII white space: no locale counts another ASCII byte as a space.
bool is_ascii_space(unsigned c)
{
    return c == ' ' || c - unsigned{'\t'} <= unsigned{'\r' - '\t'};
}

// atoi, with the common values converted inline: up to nine decimal digits
// (no white space or sign to skip, no overflow), and values whose first byte
// is ASCII and can neither start a number nor be skipped as a space or sign,
// for which atoi gives 0 and leaves errno alone. Anything else goes to atoi.
int atoi_fast(const char *s)
{
    int v = 0;
    for (int i = 0; i < 9; ++i) {
        unsigned c = static_cast<unsigned char>(s[i]);
        if (c - unsigned{'0'} > 9) {
            if (i != 0)
                return v;
            bool no_number = c < 0x80 && !is_ascii_space(c) && c != '+' && c != '-';
            return no_number ? 0 : std::atoi(s);  // NOLINT(cert-err34-c): the contract is atoi's
        }
        v = v * 10 + static_cast<int>(c - unsigned{'0'});
    }
    unsigned d = static_cast<unsigned char>(s[9]) - unsigned{'0'};
    return d > 9 ? v : std::atoi(s);  // NOLINT(cert-err34-c): the contract is atoi's
}

}  // namespace

void ini_parser_foreach(ini_parser *parser, ini_parser_callback callback, void *arg)
{
    if (callback == nullptr)
        return;
    array_stream_seek(parser->entries, 0, SEEK_SET);
    std::uint32_t count;
    while (auto *run = static_cast<const ini_entry *>(array_stream_read(parser->entries, &count))) {
        for (std::uint32_t i = 0; i < count; ++i)
            callback(arg, run[i].section, run[i].key, run[i].value);
    }
}

const char *ini_parser_string(const ini_parser *parser, const char *section, const char *key,
                              const char *def)
{
    const char *v = ini_lookup(parser, section, key);
    return v != nullptr ? v : def;
}

int ini_parser_int(const ini_parser *parser, const char *section, const char *key, int def)
{
    const char *v = ini_lookup(parser, section, key);
    return v != nullptr ? atoi_fast(v) : def;
}

std::uint32_t ini_parser_hex(const ini_parser *parser, const char *section, const char *key,
                             std::uint32_t def)
{
    const char *v = ini_lookup(parser, section, key);
    return v != nullptr ? strtoul32_hex(v) : def;
}

double ini_parser_double(const ini_parser *parser, const char *section, const char *key,
                         double def)
{
    const char *v = ini_lookup(parser, section, key);
    return v != nullptr ? std::atof(v) : def;  // NOLINT(cert-err34-c): the contract is atof's
}

int ini_parser_boolean(const ini_parser *parser, const char *section, const char *key, int def)
{
    const char *v = ini_lookup(parser, section, key);
    if (v == nullptr)
        return def;
    return std::strchr("yYtT1", *v) != nullptr && *v != '\0';
}
