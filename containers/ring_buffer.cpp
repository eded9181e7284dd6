// The ring buffer. Counters run freely and are masked only to find a slot;
// with a power-of-two capacity that stays right across their 2^32 wrap. The
// consumer's calls reset both counters when they drain the buffer, so that
// the next run starts at slot 0.
#include "anvil/ring_buffer.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "base/errno_guard.hpp"
#include "containers/block_copy.hpp"
#include "containers/ceil_log2.hpp"

struct ring_buffer {
    uint32_t written;
    uint32_t consumed;
    uint32_t capacity;  // a power of two
    uint32_t element_size;
    unsigned char *data;
};

namespace {

uint32_t used(const ring_buffer *rb)
{
    return rb->written - rb->consumed;
}

size_t bytes(const ring_buffer *rb, uint32_t elements)
{
    return rb->element_size == 1 ? elements : size_t{elements} * rb->element_size;
}

unsigned char *slot_address(const ring_buffer *rb, uint32_t slot)
{
    return rb->data + bytes(rb, slot);
}

uint32_t smaller(uint32_t a, uint32_t b)
{
    return a < b ? a : b;
}

template <bool kIn>
using UserBytes = std::conditional_t<kIn, const unsigned char, unsigned char>;

template <bool kIn>
void move_block(unsigned char *ring, UserBytes<kIn> *user, size_t n)
{
    if constexpr (kIn)
        anvil::copy_block(ring, user, n);
    else
        anvil::copy_block(user, ring, n);
}

// Copies n elements between the caller's buffer and the storage of counter
// values at, at + 1, ...: a first block from the slot of at up to the end of
// the storage at most, and the rest, if any, from the start of the storage.
// Returns n, so that callers can end in a tail call.
template <bool kIn>
[[gnu::noinline]] uint32_t copy_run(const ring_buffer *rb, UserBytes<kIn> *user, uint32_t n, uint32_t at)
{
    uint32_t slot = at & (rb->capacity - 1);
    uint32_t first = smaller(n, rb->capacity - slot);
    size_t first_bytes = bytes(rb, first);
    move_block<kIn>(slot_address(rb, slot), user, first_bytes);
    if (first != n)
        move_block<kIn>(rb->data, user + first_bytes, bytes(rb, n - first));
    return n;
}

// One element of kSize bytes, a copy of constant size.
template <bool kIn, size_t kSize>
uint32_t move_fixed(unsigned char *data, UserBytes<kIn> *user, uint32_t slot)
{
    unsigned char *ring = data + static_cast<size_t>(slot) * kSize;
    if constexpr (kIn)
        std::memcpy(ring, user, kSize);
    else
        std::memcpy(user, ring, kSize);
    return 1;
}

// One element at a slot, the common case: a copy of constant size with no
// multiply, call or stack frame. A single element never wraps. A cache line
// and a word (a pointer on the target) are tested first, the other powers of
// two up to 64 bytes next; any other size takes the general copy.
template <bool kIn>
[[gnu::always_inline]] inline uint32_t copy_one(const ring_buffer *rb, UserBytes<kIn> *user, uint32_t slot)
{
    unsigned char *data = rb->data;
    uint32_t size = rb->element_size;
    if (size == 64)
        return move_fixed<kIn, 64>(data, user, slot);
    if (size == 4)
        return move_fixed<kIn, 4>(data, user, slot);
    switch (size) {
    case 1:
        return move_fixed<kIn, 1>(data, user, slot);
    case 2:
        return move_fixed<kIn, 2>(data, user, slot);
    case 8:
        return move_fixed<kIn, 8>(data, user, slot);
    case 16:
        return move_fixed<kIn, 16>(data, user, slot);
    case 32:
        return move_fixed<kIn, 32>(data, user, slot);
    default:
        return copy_run<kIn>(rb, user, 1, slot);
    }
}

uint32_t free_room(const ring_buffer *rb)
{
    return rb->capacity - used(rb);
}

// The consumer's step: consumed moves to the new value, and a drained buffer
// starts again at slot 0.
void consume_to(ring_buffer *rb, uint32_t consumed)
{
    if (consumed == rb->written) {
        rb->written = 0;
        rb->consumed = 0;
    } else {
        rb->consumed = consumed;
    }
}

// The out-of-line halves of write and read: any count, cut down to what there
// is (possibly 0).
[[gnu::noinline]] uint32_t write_any(ring_buffer *rb, const unsigned char *src, uint32_t count)
{
    uint32_t at = rb->written;
    uint32_t n = smaller(count, free_room(rb));
    rb->written = at + n;
    return n != 0 ? copy_run<true>(rb, src, n, at) : 0;
}

[[gnu::noinline]] uint32_t read_any(ring_buffer *rb, unsigned char *dst, uint32_t count)
{
    uint32_t at = rb->consumed;
    uint32_t n = smaller(count, used(rb));
    if (n == 0)
        return 0;
    consume_to(rb, at + n);
    return copy_run<false>(rb, dst, n, at);
}

// The run that reserve or peek hands out: from the slot of at up to the end
// of the storage, at most available elements.
void *run_at(const ring_buffer *rb, uint32_t at, uint32_t available, uint32_t *count)
{
    uint32_t slot = at & (rb->capacity - 1);
    uint32_t n = smaller(rb->capacity - slot, available);
    *count = n;
    return n != 0 ? slot_address(rb, slot) : nullptr;
}

}  // namespace

ring_buffer *ring_buffer_create(uint32_t capacity, uint32_t element_size)
{
    int shift = anvil::pow2_block_shift(capacity, element_size);
    if (capacity < 2 || shift < 0)
        return anvil::fail<ring_buffer *>(EINVAL, nullptr);
    auto *rb = static_cast<ring_buffer *>(std::malloc(sizeof(ring_buffer)));
    if (!rb)
        return nullptr;
    rb->written = 0;
    rb->consumed = 0;
    rb->capacity = uint32_t{1} << shift;
    rb->element_size = element_size;
    rb->data = static_cast<unsigned char *>(std::calloc(rb->capacity, element_size));
    if (!rb->data) {
        anvil::free_keep_errno(rb);
        return nullptr;
    }
    return rb;
}

void ring_buffer_destroy(ring_buffer *rb)
{
    std::free(rb->data);
    std::free(rb);
}

void ring_buffer_reset(ring_buffer *rb)
{
    rb->written = 0;
    rb->consumed = 0;
}

uint32_t ring_buffer_len(const ring_buffer *rb)
{
    return used(rb);
}

int ring_buffer_empty(const ring_buffer *rb)
{
    return rb->written == rb->consumed;
}

int ring_buffer_full(const ring_buffer *rb)
{
    return used(rb) == rb->capacity;
}

// A single element takes the inline path; everything else (runs, a count of
// 0, a full buffer to write or an empty one to read) goes out of line.
// Write starts a 64-byte block and read follows it, so that the fast paths
// of both fall on the same instruction fetch blocks whatever the rest of the
// library's layout: a path spread over one block more costs about a cycle.
[[gnu::aligned(64)]] uint32_t ring_buffer_write(ring_buffer *rb, const void *src, uint32_t count)
{
    auto *user = static_cast<const unsigned char *>(src);
    uint32_t at = rb->written;
    if (count != 1) [[unlikely]]
        return write_any(rb, user, count);
    if (at == rb->consumed) [[likely]] {
        // Empty, so both counters are 0: the element goes to slot 0.
        rb->written = 1;
        return copy_one<true>(rb, user, 0);
    }
    if (at - rb->consumed == rb->capacity) [[unlikely]]
        return write_any(rb, user, count);
    rb->written = at + 1;
    return copy_one<true>(rb, user, at & (rb->capacity - 1));
}

uint32_t ring_buffer_read(ring_buffer *rb, void *dst, uint32_t count)
{
    auto *user = static_cast<unsigned char *>(dst);
    uint32_t at = rb->consumed;
    if (count != 1 || rb->written == at) [[unlikely]]
        return read_any(rb, user, count);
    consume_to(rb, at + 1);
    return copy_one<false>(rb, user, at & (rb->capacity - 1));
}

void *ring_buffer_reserve(ring_buffer *rb, uint32_t *count)
{
    return run_at(rb, rb->written, free_room(rb), count);
}

uint32_t ring_buffer_commit(ring_buffer *rb, uint32_t count)
{
    uint32_t n = smaller(count, free_room(rb));
    rb->written += n;
    return n;
}

void *ring_buffer_peek(ring_buffer *rb, uint32_t *count)
{
    return run_at(rb, rb->consumed, used(rb), count);
}

uint32_t ring_buffer_decommit(ring_buffer *rb, uint32_t count)
{
    uint32_t n = smaller(count, used(rb));
    consume_to(rb, rb->consumed + n);
    return n;
}
