// The ring buffer. Counters run freely and are masked only to find a slot;
// with a power-of-two capacity that stays right across their 2^32 wrap.
//
// The buffer is empty exactly when the two counters are equal, and an empty
// buffer behaves as if both were 0: that is the reset on draining. Only the
// producer's calls can tell where an empty buffer restarts, so they apply the
// reset when they find the buffer empty, and the consumer's calls leave the
// counters equal. The one-element read then stores one counter, and a write
// into a drained buffer stores both at once, without a further test.
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
uint32_t move_fixed(uintptr_t data, UserBytes<kIn> *user, uint32_t slot)
{
    constexpr size_t kSize = size_t{1} << (kClass - 1);
    // NOLINTNEXTLINE(performance-no-int-to-ptr): data is a pointer with a tag
    auto *ring = reinterpret_cast<unsigned char *>(data - kClass) + size_t{slot} * kSize;
    if constexpr (kIn)
        std::memcpy(ring, user, kSize);
    else
        std::memcpy(user, ring, kSize);
    return 1;
}

// Bit b of the tagged storage word. The empty asm hands each test a fresh
// copy of the word, so that the compiler emits one test and branch per level
// of the class tree rather than computing every bit ahead of the first branch.
// cppcheck-suppress constParameter ; the asm rewrites it
bool class_bit(uintptr_t &data, unsigned b)
{
    asm("" : "+r"(data));
    return (data >> b) & 1;
}

// One element at a slot, the common case: a copy of constant size picked by
// the class fixed at creation, with no multiply, call or stack frame. A
// single element never wraps. The class is taken apart bit by bit: three
// direct branches cost less than the indirect jump of a jump table.
template <bool kIn>
[[gnu::always_inline]] inline uint32_t copy_one(const ring_buffer *rb, UserBytes<kIn> *user, uint32_t slot)
{
    uintptr_t d = rb->data;
    if (class_bit(d, 2)) {
        if (class_bit(d, 1))
            return class_bit(d, 0) ? move_fixed<kIn, 7>(d, user, slot) : move_fixed<kIn, 6>(d, user, slot);
        return class_bit(d, 0) ? move_fixed<kIn, 5>(d, user, slot) : move_fixed<kIn, 4>(d, user, slot);
    }
    if (class_bit(d, 1))
        return class_bit(d, 0) ? move_fixed<kIn, 3>(d, user, slot) : move_fixed<kIn, 2>(d, user, slot);
    return class_bit(d, 0) ? move_fixed<kIn, 1>(d, user, slot) : copy_run<kIn>(rb, user, 1, slot);
}

uint32_t free_room(const ring_buffer *rb)
{
    return rb->capacity - used(rb);
}

// The drain reset, applied by the producer's calls: an empty buffer starts
// again at slot 0.
void restart_if_empty(ring_buffer *rb)
{
    if (rb->written == rb->consumed) {
        rb->written = 0;
        rb->consumed = 0;
    }
}

// The out-of-line halves of write and read: any count, cut down to what there
// is (possibly 0).
[[gnu::noinline]] uint32_t write_any(ring_buffer *rb, const unsigned char *src, uint32_t count)
{
    restart_if_empty(rb);
    uint32_t at = rb->written;
    uint32_t n = smaller(count, free_room(rb));
    rb->written = at + n;
    return n != 0 ? copy_run<true>(rb, src, n, at) : 0;
}

[[gnu::noinline]] uint32_t read_any(ring_buffer *rb, unsigned char *dst, uint32_t count)
{
    uint32_t at = rb->consumed;
    uint32_t n = smaller(count, used(rb));
    rb->consumed = at + n;
    return n != 0 ? copy_run<false>(rb, dst, n, at) : 0;
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
        // Empty: the element goes to slot 0, and written and consumed become
        // 1 and 0 in one store.
        static_assert(offsetof(ring_buffer, written) == 0 && offsetof(ring_buffer, consumed) == sizeof(uint32_t));
        constexpr uint64_t kOneStored = std::endian::native == std::endian::little ? 1 : uint64_t{1} << 32;
        std::memcpy(rb, &kOneStored, sizeof kOneStored);
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
    rb->consumed = at + 1;
    return copy_one<false>(rb, user, at & (rb->capacity - 1));
}

void *ring_buffer_reserve(ring_buffer *rb, uint32_t *count)
{
    uint32_t at = rb->written == rb->consumed ? 0 : rb->written;  // drained: slot 0
    return run_at(rb, at, free_room(rb), count);
}

uint32_t ring_buffer_commit(ring_buffer *rb, uint32_t count)
{
    restart_if_empty(rb);
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
    rb->consumed += n;
    return n;
}
