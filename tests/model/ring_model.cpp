#include <anvil/ring_buffer.h>

#include <algorithm>
#include <iterator>
#include <deque>
#include <vector>

#include "model/model.hpp"
#include "model/reader.hpp"

namespace anvil_model {

namespace {

const uint32_t kSizes[] = {1, 2, 3, 4, 5, 7, 8, 12, 16, 17, 24, 32, 33, 64, 65, 100};

// The contract's view: free-running counters that drop to 0 whenever the
// buffer drains, runs that stop at the end of the storage.
struct Model {
    uint32_t capacity, size, written = 0, consumed = 0;
    std::deque<unsigned char> bytes;
    uint32_t len() const { return uint32_t(bytes.size() / size); }
    uint32_t run(uint32_t at, uint32_t n) const
    {
        uint32_t to_end = capacity - (at & (capacity - 1));
        return n < to_end ? n : to_end;
    }
    void removed(uint32_t n)
    {
        bytes.erase(bytes.begin(), bytes.begin() + n * size);
        consumed += n;
        if (consumed == written)
            written = consumed = 0;
    }
};

}  // namespace

void check_ring_buffer(const uint8_t *data, size_t size)
{
    Reader in{data, size};
    Model m;
    m.capacity = 2u << (in.byte() % 6);
    m.size = kSizes[in.byte() % std::size(kSizes)];
    bool near_wrap = in.byte() & 1;
    uint32_t distance = in.byte() + 1u;
    if (near_wrap) {
        // Big enough that a lap of commits and decommits reaches 2^32 quickly.
        m.capacity = 1u << 16;
        m.size = m.size % 4 + 1;
    }
    ring_buffer *rb = ring_buffer_create(m.capacity, m.size);
    ANVIL_CHECK(rb);
    if (near_wrap) {
        // One element always stored, so that nothing drains on the way.
        ring_buffer_commit(rb, 1);
        for (uint64_t left = (uint64_t{1} << 32) - distance, step; left; left -= step) {
            step = left < m.capacity - 1 ? left : m.capacity - 1;
            ring_buffer_commit(rb, uint32_t(step));
            ring_buffer_decommit(rb, uint32_t(step));
        }
        m.consumed = uint32_t(0) - distance;
        m.written = m.consumed + 1;
        m.bytes.assign(m.size, 0);
    }
    std::vector<unsigned char> buf;
    unsigned char next = 1;
    while (in.more()) {
        uint8_t op = in.byte() % ring::kOps;
        uint32_t n = in.byte();
        uint32_t len = m.len(), room = m.capacity - len;
        buf.assign((size_t(n) + 1) * m.size, 0);
        switch (op) {
        case ring::Write: {
            for (auto &b : buf)
                b = next++;
            uint32_t want = n < room ? n : room;
            ANVIL_CHECK(ring_buffer_write(rb, buf.data(), n) == want);
            m.bytes.insert(m.bytes.end(), buf.begin(), buf.begin() + want * m.size);
            m.written += want;
            break;
        }
        case ring::Read: {
            uint32_t want = n < len ? n : len;
            ANVIL_CHECK(ring_buffer_read(rb, buf.data(), n) == want);
            ANVIL_CHECK(std::equal(buf.begin(), buf.begin() + want * m.size, m.bytes.begin()));
            ANVIL_CHECK(buf[want * m.size] == 0);  // nothing past the count
            m.removed(want);
            break;
        }
        case ring::Fill: {
            uint32_t got;
            auto *at = static_cast<unsigned char *>(ring_buffer_reserve(rb, &got));
            ANVIL_CHECK(got == m.run(m.written, room) && (at == nullptr) == (got == 0));
            uint32_t k = n < got ? n : got;
            for (size_t i = 0; i < size_t(k) * m.size; ++i)
                m.bytes.push_back(at[i] = next++);
            ANVIL_CHECK(ring_buffer_commit(rb, k) == k);
            m.written += k;
            break;
        }
        case ring::Drain: {
            uint32_t got;
            auto *at = static_cast<unsigned char *>(ring_buffer_peek(rb, &got));
            ANVIL_CHECK(got == m.run(m.consumed, len) && (at == nullptr) == (got == 0));
            ANVIL_CHECK(std::equal(at, at + size_t(got) * m.size, m.bytes.begin()));
            uint32_t want = n < len ? n : len;
            ANVIL_CHECK(ring_buffer_decommit(rb, n) == want);
            m.removed(want);
            break;
        }
        case ring::Reset:
            ring_buffer_reset(rb);
            m.bytes.clear();
            m.written = m.consumed = 0;
            break;
        }
        ANVIL_CHECK(ring_buffer_len(rb) == m.len() && ring_buffer_empty(rb) == (m.len() == 0) &&
                    ring_buffer_full(rb) == (m.len() == m.capacity));
    }
    ring_buffer_destroy(rb);
}

}  // namespace anvil_model
