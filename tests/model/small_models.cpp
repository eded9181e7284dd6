// The word queue and stack, the string builder and the bitmaps.
#include <anvil/bitmap.h>
#include <anvil/c_queue.h>
#include <anvil/string_builder.h>

#include <cerrno>
#include <clocale>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "model/model.hpp"

namespace anvil_model {

namespace {
// Header: capacity. Queue and stack side by side.
namespace words {
enum Op : uint8_t { QueuePush, QueuePop, QueuePeek, StackPush, StackPop, StackPeek, kOps };  // [value]
}
// No header. Each operation takes one byte.
namespace text {
enum Op : uint8_t { Append, AppendInt, Truncate, Unencodable, kOps };
}
// Header: size, junk for the bits above it. Start and count bytes are
// scaled to the size.
namespace bits {
enum Op : uint8_t { Set, Clear, FindFirst, FindFirstZero, FindNext, FindNextZero, kOps };
}
}  // namespace

void check_word_containers(const uint8_t *data, size_t size)
{
    Reader in{data, size};
    uint32_t capacity = in.byte() % 9;
    c_queue *q = c_queue_create(capacity);
    c_stack *s = c_stack_create(capacity);
    std::deque<uintptr_t> mq, ms;
    while (in.more()) {
        uint8_t op = in.byte() % words::kOps;
        bool queue = op < words::StackPush;
        auto &m = queue ? mq : ms;
        errno = 0;
        if (op == words::QueuePush || op == words::StackPush) {
            uintptr_t v = in.byte();
            bool room = m.size() < capacity;
            int r = queue ? c_queue_push(q, v) : c_stack_push(s, v);
            ANVIL_CHECK(r == (room ? 0 : -1) && errno == (room ? 0 : ENOBUFS));
            if (room)
                m.push_back(v);
        } else {
            bool pop = op == words::QueuePop || op == words::StackPop;
            uintptr_t r = queue ? (pop ? c_queue_pop(q) : c_queue_peek(q)) : (pop ? c_stack_pop(s) : c_stack_peek(s));
            uintptr_t want = m.empty() ? 0 : queue ? m.front() : m.back();
            ANVIL_CHECK(r == want && errno == (m.empty() ? ENODATA : 0));
            if (pop && !m.empty())
                queue ? m.pop_front() : m.pop_back();
        }
        ANVIL_CHECK(c_queue_length(q) == mq.size() && c_stack_length(s) == ms.size());
    }
    c_queue_destroy(q);
    c_stack_destroy(s);
}

void check_string_builder(const uint8_t *data, size_t size)
{
    Reader in{data, size};
    string_builder *b = string_builder_create();
    std::string m;
    unsigned pieces = 0;
    std::setlocale(LC_ALL, "C");
    while (in.more()) {
        uint8_t op = in.byte() % text::kOps;
        uint32_t arg = in.byte();
        errno = 0;
        switch (op) {
        case text::Append: {
            std::string piece(arg * 5, char('a' + pieces++ % 26));
            ANVIL_CHECK(string_builder_append(b, "%s", piece.c_str()) == 0);
            m += piece;
            break;
        }
        case text::AppendInt:
            ANVIL_CHECK(string_builder_append(b, "<%d>", int(arg) - 128) == 0);
            m += "<" + std::to_string(int(arg) - 128) + ">";
            break;
        case text::Truncate:
            string_builder_truncate(b, arg * 9);
            if (arg * 9u < m.size())
                m.resize(arg * 9);
            break;
        case text::Unencodable:
            // The C locale cannot encode this character: the text stays as it was.
            ANVIL_CHECK(string_builder_append(b, "%.*s%ls", int(arg), "partial piece", L"\u00e9") == -1 && errno == EILSEQ);
            break;
        }
        ANVIL_CHECK(string_builder_length(b) == m.size() && string_builder_to_string(b) == m);
    }
    string_builder_destroy(b);
}

void check_bitmap(const uint8_t *data, size_t size)
{
    Reader in{data, size};
    uint32_t bits = 1 + in.byte() * 2u + (in.byte() & 1);
    // Exactly the words the size needs, so that a read past them is caught;
    // the bits above the size hold junk the searches must ignore.
    std::vector<uint32_t> map((bits + 31) / 32, 0);
    uint32_t junk = bits % 32 ? ~0u << (bits % 32) : 0;
    map.back() |= junk & (uint32_t(in.byte()) * 0x01010101u);
    uint32_t above = map.back() & junk;
    std::vector<bool> m(bits, false);
    auto bit = [&](uint32_t k) { return (map[k >> 5] >> (k & 31)) & 1; };
    auto scan = [&](uint32_t from, bool want) {
        for (uint32_t k = from; k < bits; ++k)
            if (m[k] == want)
                return k;
        return bits;
    };
    while (in.more()) {
        uint8_t op = in.byte() % bits::kOps;
        uint32_t a = in.byte() * bits / 256, c = in.byte();
        switch (op) {
        case bits::Set:
        case bits::Clear: {
            uint32_t count = c % (bits - a + 1);
            (op == bits::Set ? bitmap_set : bitmap_clear)(map.data(), a, int32_t(count));
            for (uint32_t k = a; k < a + count; ++k)
                m[k] = op == bits::Set;
            break;
        }
        case bits::FindFirst:
        case bits::FindFirstZero:
            ANVIL_CHECK((op == bits::FindFirst ? find_first_bit : find_first_zero_bit)(map.data(), bits) ==
                        scan(0, op == bits::FindFirst));
            break;
        case bits::FindNext:
        case bits::FindNextZero: {
            uint32_t offset = a + c % 40;  // at times at or past the size
            bool set = op == bits::FindNext;
            // Past the size the map must not be read at all.
            const uint32_t *at = offset < bits ? map.data() : nullptr;
            ANVIL_CHECK((set ? find_next_bit : find_next_zero_bit)(at, bits, offset) == scan(offset, set));
            break;
        }
        }
        for (uint32_t k = 0; k < bits; ++k)
            ANVIL_CHECK(bit(k) == m[k]);
        ANVIL_CHECK((map.back() & junk) == above);  // the bits above the size
    }
}

}  // namespace anvil_model
