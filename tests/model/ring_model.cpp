#include <anvil/ring_buffer.h>

#include <algorithm>
#include <deque>
#include <iterator>
#include <vector>

#include "model/model.hpp"

namespace anvil_model {

namespace {

// Header: capacity code, element size code, near-wrap flag, wrap distance.
// Near wrap starts with one zero element stored and the counters that many
// elements below 2^32. Each operation takes a count.
enum Op : uint8_t { Write, Read, Fill, Drain, Reset, kOps };

const uint32_t kSizes[] = {1, 2, 3, 4, 5, 7, 8, 12, 16, 17, 24, 32, 33, 64, 65, 100};

// The contract's view: free-running counters that drop to 0 whenever the
// buffer drains, runs that stop at the end of the storage.
struct Model {
    uint32_t capacity, size, written = 0, consumed = 0;
    std::deque<unsigned char> bytes;
    uint32_t len() const { return uint32_t(bytes.size() / size); }
    uint32_t run(uint32_t at, uint32_t n) const { return std::min(n, capacity - (at & (capacity - 1))); }
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
            step = std::min<uint64_t>(left, m.capacity - 1);
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
        uint8_t op = in.byte() % kOps;
        uint32_t n = in.byte(), len = m.len(), got = 0;
        buf.assign((size_t(n) + 1) * m.size, 0);
        switch (op) {
        case Write:
        case Fill: {
            // Written from buf, or straight into the reserved run.
            auto *at = op == Write ? buf.data() : static_cast<unsigned char *>(ring_buffer_reserve(rb, &got));
            ANVIL_CHECK(op == Write || (got == m.run(m.written, m.capacity - len) && (at == nullptr) == (got == 0)));
            uint32_t want = std::min(n, op == Write ? m.capacity - len : got);
            for (size_t i = 0; i < size_t(op == Write ? n : want) * m.size; ++i)
                at[i] = next++;
            m.bytes.insert(m.bytes.end(), at, at + size_t(want) * m.size);
            ANVIL_CHECK((op == Write ? ring_buffer_write(rb, at, n) : ring_buffer_commit(rb, want)) == want);
            m.written += want;
            break;
        }
        case Read:
        case Drain: {
            // Read into buf, nothing stored past the count, or seen in place
            // and let go.
            uint32_t want = std::min(n, len);
            auto *at = buf.data();
            if (op == Read) {
                ANVIL_CHECK(ring_buffer_read(rb, at, n) == want && buf[size_t(want) * m.size] == 0);
                got = want;
            } else {
                at = static_cast<unsigned char *>(ring_buffer_peek(rb, &got));
                ANVIL_CHECK(got == m.run(m.consumed, len) && (at == nullptr) == (got == 0));
            }
            ANVIL_CHECK(std::equal(at, at + size_t(got) * m.size, m.bytes.begin()));
            if (op == Drain)
                ANVIL_CHECK(ring_buffer_decommit(rb, n) == want);
            m.removed(want);
            break;
        }
        case Reset:
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
