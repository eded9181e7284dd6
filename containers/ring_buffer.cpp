// The ring buffer. Counters run freely and are masked only to find a slot;
// with a power-of-two capacity that stays right across their 2^32 wrap.
#include "anvil/ring_buffer.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
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

// Where the n elements of counter values at, at + 1, ... lie: a first run
// from the slot of at up to the end of the storage at most, and the rest, if
// any, from the start of the storage.
struct Split {
    unsigned char *start;
    uint32_t first;
};

Split split(const ring_buffer *rb, uint32_t at, uint32_t n)
{
    uint32_t slot = at & (rb->capacity - 1);
    uint32_t to_end = rb->capacity - slot;
    return {rb->data + bytes(rb, slot), n < to_end ? n : to_end};
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
// values at, at + 1, ...: at most two blocks, the second from the start of
// the storage.
template <bool kIn>
[[gnu::noinline]] void copy_split(const ring_buffer *rb, UserBytes<kIn> *user, Split s, uint32_t n)
{
    size_t first = bytes(rb, s.first);
    move_block<kIn>(s.start, user, first);
    if (s.first != n)
        move_block<kIn>(rb->data, user + first, bytes(rb, n - s.first));
}

// A single small block, the common case, is moved without a call, so that
// the copying calls need no stack frame.
template <bool kIn>
void copy(const ring_buffer *rb, UserBytes<kIn> *user, uint32_t n, uint32_t at)
{
    Split s = split(rb, at, n);
    size_t size = bytes(rb, n);
    if (s.first == n && size <= anvil::kInlineCopyMax)
        move_block<kIn>(s.start, user, size);
    else
        copy_split<kIn>(rb, user, s, n);
}

uint32_t smaller(uint32_t a, uint32_t b)
{
    return a < b ? a : b;
}

uint32_t add_written(ring_buffer *rb, uint32_t count)
{
    uint32_t n = smaller(count, rb->capacity - used(rb));
    rb->written += n;
    return n;
}

// Draining puts both counters back to 0, so the next producer gets the whole
// storage as one run.
uint32_t add_consumed(ring_buffer *rb, uint32_t count)
{
    uint32_t n = smaller(count, used(rb));
    rb->consumed += n;
    if (rb->consumed == rb->written)
        rb->written = rb->consumed = 0;
    return n;
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

uint32_t ring_buffer_write(ring_buffer *rb, const void *src, uint32_t count)
{
    uint32_t at = rb->written;
    uint32_t n = add_written(rb, count);
    if (n != 0)
        copy<true>(rb, static_cast<const unsigned char *>(src), n, at);
    return n;
}

uint32_t ring_buffer_read(ring_buffer *rb, void *dst, uint32_t count)
{
    // The copy reads from where the elements were, even if draining has
    // just reset the counters.
    uint32_t at = rb->consumed;
    uint32_t n = add_consumed(rb, count);
    if (n != 0)
        copy<false>(rb, static_cast<unsigned char *>(dst), n, at);
    return n;
}

void *ring_buffer_reserve(ring_buffer *rb, uint32_t *count)
{
    Split s = split(rb, rb->written, rb->capacity - used(rb));
    *count = s.first;
    return s.first ? s.start : nullptr;
}

uint32_t ring_buffer_commit(ring_buffer *rb, uint32_t count)
{
    return add_written(rb, count);
}

void *ring_buffer_peek(ring_buffer *rb, uint32_t *count)
{
    Split s = split(rb, rb->consumed, used(rb));
    *count = s.first;
    return s.first ? s.start : nullptr;
}

uint32_t ring_buffer_decommit(ring_buffer *rb, uint32_t count)
{
    return add_consumed(rb, count);
}
