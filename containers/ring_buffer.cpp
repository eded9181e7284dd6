// The ring buffer. Counters run freely and are masked only to find a slot;
// with a power-of-two capacity that stays right across their 2^32 wrap.
#include "anvil/ring_buffer.h"

#include <bit>
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
    // The storage. Its low bits hold the copy class chosen at creation:
    // calloc aligns to at least 8 bytes, so they are otherwise always 0.
    uintptr_t data;
};

namespace {

// Copy classes: 0 for any element size, k in 1..7 for 2^(k - 1) bytes.
constexpr uintptr_t kClassBits = 7;
static_assert(alignof(std::max_align_t) > kClassBits);

uintptr_t copy_class(uint32_t element_size)
{
    if (std::has_single_bit(element_size) && element_size <= 64)
        return static_cast<uintptr_t>(std::countr_zero(element_size)) + 1;
    return 0;
}

unsigned char *storage(const ring_buffer *rb)
{
    // NOLINTNEXTLINE(performance-no-int-to-ptr): data is a pointer with a tag
    return reinterpret_cast<unsigned char *>(rb->data & ~kClassBits);
}

// The address of a slot; slot * element_size fits in 32 bits (checked at
// creation).
unsigned char *slot_address(const ring_buffer *rb, uint32_t slot)
{
    // NOLINTNEXTLINE(bugprone-implicit-widening-of-multiplication-result): 32 bits suffice
    return storage(rb) + slot * rb->element_size;
}

uint32_t used(const ring_buffer *rb)
{
    return rb->written - rb->consumed;
}

size_t bytes(const ring_buffer *rb, uint32_t elements)
{
    return rb->element_size == 1 ? elements : size_t{elements} * rb->element_size;
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
    move_block<kIn>(storage(rb) + bytes(rb, slot), user, first_bytes);
    if (first != n)
        move_block<kIn>(storage(rb), user + first_bytes, bytes(rb, n - first));
    return n;
}

// One element of class kClass, 2^(kClass - 1) bytes. The tag is taken off
// the storage address as a constant, which folds into the addressing.
template <bool kIn, uintptr_t kClass>
uint32_t move_fixed(const ring_buffer *rb, UserBytes<kIn> *user, uint32_t slot)
{
    constexpr size_t kSize = size_t{1} << (kClass - 1);
    // NOLINTNEXTLINE(performance-no-int-to-ptr): data is a pointer with a tag
    auto *ring = reinterpret_cast<unsigned char *>(rb->data - kClass) + size_t{slot} * kSize;
    if constexpr (kIn)
        std::memcpy(ring, user, kSize);
    else
        std::memcpy(user, ring, kSize);
    return 1;
}

// One element, the common case: a copy of constant size picked by the class
// fixed at creation, with no multiply, call or stack frame. A single element
// never wraps. The class is taken apart bit by bit: three direct branches
// cost less than the indirect jump of a jump table.
template <bool kIn>
uint32_t copy_one(const ring_buffer *rb, UserBytes<kIn> *user, uint32_t at)
{
    uint32_t slot = at & (rb->capacity - 1);
    uintptr_t cls = rb->data & kClassBits;
    if (cls & 4) {
        if (cls & 2)
            return cls & 1 ? move_fixed<kIn, 7>(rb, user, slot) : move_fixed<kIn, 6>(rb, user, slot);
        return cls & 1 ? move_fixed<kIn, 5>(rb, user, slot) : move_fixed<kIn, 4>(rb, user, slot);
    }
    if (cls & 2)
        return cls & 1 ? move_fixed<kIn, 3>(rb, user, slot) : move_fixed<kIn, 2>(rb, user, slot);
    return cls & 1 ? move_fixed<kIn, 1>(rb, user, slot) : copy_run<kIn>(rb, user, 1, at);
}

uint32_t free_room(const ring_buffer *rb)
{
    return rb->capacity - used(rb);
}

// Draining puts both counters back to 0, so the next producer gets the whole
// storage as one run.
void set_consumed(ring_buffer *rb, uint32_t consumed)
{
    if (consumed == rb->written)
        rb->written = consumed = 0;
    rb->consumed = consumed;
}

// The out-of-line halves of write and read: any count, cut down to what there
// is (possibly 0). Keeping them apart leaves the one-element case a branch
// the predictor learns, so that each counter is computed from its own old
// value, not through a conditional move on the other counter: write and read
// do not wait on each other's stores.
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
    set_consumed(rb, at + n);
    return n != 0 ? copy_run<false>(rb, dst, n, at) : 0;
}

// Commit and decommit, with the count cut down to what there is.
uint32_t add_written(ring_buffer *rb, uint32_t count)
{
    uint32_t n = smaller(count, free_room(rb));
    rb->written += n;
    return n;
}

uint32_t add_consumed(ring_buffer *rb, uint32_t count)
{
    uint32_t n = smaller(count, used(rb));
    set_consumed(rb, rb->consumed + n);
    return n;
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
    void *data = std::calloc(rb->capacity, element_size);
    if (!data) {
        anvil::free_keep_errno(rb);
        return nullptr;
    }
    rb->data = reinterpret_cast<uintptr_t>(data) | copy_class(element_size);
    return rb;
}

void ring_buffer_destroy(ring_buffer *rb)
{
    std::free(storage(rb));
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

// A single element that fits takes the inline path; everything else (runs,
// a full or empty buffer, a count of 0) goes out of line.
uint32_t ring_buffer_write(ring_buffer *rb, const void *src, uint32_t count)
{
    auto *user = static_cast<const unsigned char *>(src);
    uint32_t at = rb->written;
    if (count != 1 || used(rb) == rb->capacity) [[unlikely]]
        return write_any(rb, user, count);
    rb->written = at + 1;
    return copy_one<true>(rb, user, at);
}

uint32_t ring_buffer_read(ring_buffer *rb, void *dst, uint32_t count)
{
    auto *user = static_cast<unsigned char *>(dst);
    uint32_t at = rb->consumed;
    if (count != 1 || rb->written == at) [[unlikely]]
        return read_any(rb, user, count);
    // The copy reads from where the element was, even if draining has just
    // reset the counters.
    set_consumed(rb, at + 1);
    return copy_one<false>(rb, user, at);
}

void *ring_buffer_reserve(ring_buffer *rb, uint32_t *count)
{
    return run_at(rb, rb->written, free_room(rb), count);
}

uint32_t ring_buffer_commit(ring_buffer *rb, uint32_t count)
{
    return add_written(rb, count);
}

void *ring_buffer_peek(ring_buffer *rb, uint32_t *count)
{
    return run_at(rb, rb->consumed, used(rb), count);
}

uint32_t ring_buffer_decommit(ring_buffer *rb, uint32_t count)
{
    return add_consumed(rb, count);
}
