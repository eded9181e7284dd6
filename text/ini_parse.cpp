// In-place INI parsing: five states pass one record along, one line kind each.
#include <bit>
#include <cctype>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/errno_guard.hpp"
#include "text/ini_parser.hpp"

namespace {

// Byte classes of one load. The stop classes include NUL so that the scans
// need no bound check: the extra NUL at the end stops them, and a NUL inside
// the file is recognised by its position and stepped over.
enum : unsigned char {
    kSpace = 1,
    kValueStop = 2,    // '\n' ';' '#' NUL
    kKeyStop = 4,      // '\n' '=' NUL
    kSectionStop = 8,  // '\n' ']' NUL
};

constexpr char kNoSection[] = "";

struct ini_parse_state;
using ini_state = int (*)(ini_parse_state *);

struct ini_parse_state {
    ini_parser *parser;
    char *end;  // the extra NUL, one past the last file byte
    const char *section;
    char *key;
    char *cursor;
    ini_state next_state;
    // djb2 of the current section, so that each key continues from it: the
    // same bucket as hashing section and key from scratch.
    std::uint32_t section_hash;
    unsigned char cls[256];
};

// isspace is asked once per byte value per load, in this thread's locale.
void classify(ini_parse_state *st)
{
    for (int c = 0; c < 256; ++c)
        st->cls[c] = std::isspace(c) ? kSpace : 0;
    st->cls[0] |= kValueStop | kKeyStop | kSectionStop;
    st->cls['\n'] |= kValueStop | kKeyStop | kSectionStop;
    st->cls[';'] |= kValueStop;
    st->cls['#'] |= kValueStop;
    st->cls['='] |= kKeyStop;
    st->cls[']'] |= kSectionStop;
}

bool is_space(const ini_parse_state *st, const char *p)
{
    return st->cls[static_cast<unsigned char>(*p)] & kSpace;
}

using Word = std::uintptr_t;
constexpr Word kOnes = ~Word(0) / 0xFF;  // 0x01 in every byte
constexpr Word kHighs = kOnes * 0x80;

// Flags the zero bytes of x. A false flag can only appear above a true one,
// so the lowest flag is always the first zero byte.
constexpr Word zero_bytes(Word x)
{
    return (x - kOnes) & ~x & kHighs;
}

// Skips whole words that hold none of NUL, A, B and C, as long as a word fits
// before the end; returns the first such byte or where the words stopped.
// The byte loop of scan_to then lands on the same byte it would have reached
// alone. Requires p <= end and *end == NUL.
template <unsigned char A, unsigned char B, unsigned char C>
char *skip_words(char *p, const char *end)
{
    if constexpr (std::endian::native == std::endian::little) {
        for (; static_cast<size_t>(end - p) >= sizeof(Word) - 1; p += sizeof(Word)) {
            Word x;
            std::memcpy(&x, p, sizeof x);
            Word m = zero_bytes(x) | zero_bytes(x ^ (kOnes * A)) | zero_bytes(x ^ (kOnes * B)) |
                     zero_bytes(x ^ (kOnes * C));
            if (m != 0)
                return p + std::countr_zero(m) / 8;
        }
    }
    return p;
}

// The first byte of the class mask stop (whose bytes are NUL, A, B and C) at
// or after p, not counting NUL bytes inside the file. Requires p <= end and
// *end == NUL.
template <unsigned char stop, unsigned char A, unsigned char B, unsigned char C>
char *scan_to(const ini_parse_state *st, char *p)
{
    for (;;) {
        p = skip_words<A, B, C>(p, st->end);
        while (!(st->cls[static_cast<unsigned char>(*p)] & stop))
            ++p;
        if (*p != '\0' || p == st->end)
            return p;
        ++p;  // a NUL byte inside the file is an ordinary byte
    }
}

// Trims white space off both ends of [p, stop) by writing a NUL after its
// last non-space byte, at stop when there is none; returns its first
// non-space byte, stop when there is none.
char *cut_span(const ini_parse_state *st, char *p, char *stop)
{
    while (p < stop && is_space(st, p))
        ++p;
    while (stop > p && is_space(st, stop - 1))
        --stop;
    *stop = '\0';
    return p;
}

// The position just after the first newline at or after p, or end.
char *ini_skip_line(char *p, char *end)
{
    auto *nl = static_cast<char *>(std::memchr(p, '\n', static_cast<size_t>(end - p)));
    return nl != nullptr ? nl + 1 : end;
}

void ini_index_add(ini_parser *parser, ini_entry *entry, std::uint32_t hash)
{
    ini_entry **head = &parser->buckets[hash & (parser->bucket_count - 1)];
    entry->next = *head;
    if (*head != nullptr)
        (*head)->pprev = &entry->next;
    *head = entry;
    entry->pprev = head;
}

int ini_state_line(ini_parse_state *st);

int ini_state_comment(ini_parse_state *st)
{
    st->cursor = ini_skip_line(st->cursor, st->end);
    st->next_state = ini_state_line;
    return 0;
}

// The name from cursor up to the first stop byte, trimmed, with cursor moved
// past that byte; null with ENOEXEC when the byte is not close (a newline or
// the end came first) or the name is empty.
template <unsigned char stop, unsigned char close>
char *ini_take_name(ini_parse_state *st)
{
    char *p = scan_to<stop, '\n', close, close>(st, st->cursor);
    if (static_cast<unsigned char>(*p) != close)
        return anvil::fail(ENOEXEC, static_cast<char *>(nullptr));
    char *name = cut_span(st, st->cursor, p);
    if (name == p)
        return anvil::fail(ENOEXEC, static_cast<char *>(nullptr));
    st->cursor = p + 1;
    return name;
}

// cursor: just past the '['.
int ini_state_section(ini_parse_state *st)
{
    char *name = ini_take_name<kSectionStop, ']'>(st);
    if (name == nullptr)
        return -1;
    st->section = name;
    st->section_hash = anvil::djb2_more(anvil::kDjb2Seed, name);
    st->cursor = ini_skip_line(st->cursor, st->end);
    st->next_state = ini_state_line;
    return 0;
}

int ini_state_value(ini_parse_state *st);

// cursor: on the line's first byte, which is neither white space nor one of
// '[' ';' '#'.
int ini_state_key(ini_parse_state *st)
{
    st->key = ini_take_name<kKeyStop, '='>(st);
    if (st->key == nullptr)
        return -1;
    st->next_state = ini_state_value;
    return 0;
}

// cursor: just past the '='.
int ini_state_value(ini_parse_state *st)
{
    char *stop = scan_to<kValueStop, '\n', ';', '#'>(st, st->cursor);
    st->next_state = nullptr;
    if (*stop == '\n') {
        st->next_state = ini_state_line;
    } else if (*stop != '\0') {
        st->next_state = ini_state_comment;
    }
    *stop = '\0';
    char *first = cut_span(st, st->cursor, stop);
    st->cursor = stop == st->end ? stop : stop + 1;

    std::uint32_t count = 1;
    auto *entry = static_cast<ini_entry *>(array_stream_write(st->parser->entries, &count));
    if (entry == nullptr)
        return -1;
    entry->section = st->section;
    entry->key = st->key;
    entry->value = first;
    ini_index_add(st->parser, entry, anvil::djb2_more(st->section_hash, st->key));
    return 0;
}

int ini_state_line(ini_parse_state *st)
{
    char *p = st->cursor;
    while (is_space(st, p))
        ++p;  // the NUL at end is not white space
    st->cursor = p;
    if (p == st->end) {
        st->next_state = nullptr;
    } else if (*p == '[') {
        st->cursor = p + 1;
        st->next_state = ini_state_section;
    } else if (*p == ';' || *p == '#') {
        st->cursor = p + 1;
        st->next_state = ini_state_comment;
    } else {
        st->next_state = ini_state_key;
    }
    return 0;
}

}  // namespace

namespace anvil {

int ini_parse(ini_parser *parser)
{
    ini_parse_state st;
    char *start = parser->text;
    if (parser->size > 2 && std::memcmp(start, "\xEF\xBB\xBF", 3) == 0)
        start += 3;
    st.parser = parser;
    st.end = parser->text + parser->size;
    st.section = kNoSection;
    st.key = nullptr;
    st.cursor = start;
    st.next_state = ini_state_line;
    st.section_hash = kDjb2Seed;
    classify(&st);
    while (st.next_state != nullptr) {
        if (st.next_state(&st) != 0)
            return -1;
    }
    return 0;
}

}  // namespace anvil
