// The chunked array stream. Chunks are appended and never moved, so growing
// costs at most a reallocation of the table of chunk pointers.
#include "anvil/array_stream.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/errno_guard.hpp"
#include "containers/ceil_log2.hpp"

struct array_stream {
    uint32_t element_size;
    uint32_t chunk_elements;  // a power of two
    uint32_t chunk_shift;     // log2 of chunk_elements
    unsigned char **chunks;
    uint32_t chunk_capacity;  // slots in chunks
    uint32_t chunk_count;     // chunks allocated
    uint32_t length;
    uint32_t position;
};

namespace {

constexpr uint32_t kInitialTableSlots = 8;

uint32_t slot_in_chunk(const array_stream *s, uint32_t index)
{
    return index & (s->chunk_elements - 1);
}

unsigned char *element_address(const array_stream *s, uint32_t index)
{
    return s->chunks[index >> s->chunk_shift] +
           static_cast<size_t>(slot_in_chunk(s, index)) * s->element_size;
}

int add_chunk(array_stream *s)
{
    // Another chunk must leave every element index representable in 32 bits.
    if (s->chunk_count >= (UINT32_MAX >> s->chunk_shift))
        return anvil::fail(ENOMEM);
    if (s->chunk_count == s->chunk_capacity) {
        uint64_t slots = uint64_t{s->chunk_capacity} * 2;
        if (slots > UINT32_MAX || slots > SIZE_MAX / sizeof *s->chunks)
            return anvil::fail(ENOMEM);
        void *table = std::realloc(s->chunks, static_cast<size_t>(slots) * sizeof *s->chunks);
        if (!table)
            return -1;
        s->chunks = static_cast<unsigned char **>(table);
        s->chunk_capacity = static_cast<uint32_t>(slots);
    }
    void *chunk = std::malloc(static_cast<size_t>(s->element_size) << s->chunk_shift);
    if (!chunk)
        return -1;
    s->chunks[s->chunk_count++] = static_cast<unsigned char *>(chunk);
    return 0;
}

}  // namespace

array_stream *array_stream_create(uint32_t element_size, uint32_t chunk_elements)
{
    int shift = anvil::pow2_block_shift(chunk_elements, element_size);
    if (shift < 0)
        return anvil::fail<array_stream *>(EINVAL, nullptr);
    auto *s = static_cast<array_stream *>(std::malloc(sizeof(array_stream)));
    if (!s)
        return nullptr;
    s->chunks = static_cast<unsigned char **>(std::calloc(kInitialTableSlots, sizeof *s->chunks));
    if (!s->chunks) {
        anvil::free_keep_errno(s);
        return nullptr;
    }
    s->element_size = element_size;
    s->chunk_shift = static_cast<uint32_t>(shift);
    s->chunk_elements = uint32_t{1} << shift;
    s->chunk_capacity = kInitialTableSlots;
    s->chunk_count = 0;
    s->length = 0;
    s->position = 0;
    return s;
}

void array_stream_destroy(array_stream *s)
{
    for (uint32_t i = s->chunk_count; i-- > 0;)
        std::free(s->chunks[i]);
    std::free(s->chunks);
    std::free(s);
}

void *array_stream_write(array_stream *s, uint32_t *count)
{
    if (!count || *count == 0)
        return anvil::fail<void *>(EINVAL, nullptr);
    // Cannot overflow: add_chunk keeps chunk_count << chunk_shift in 32 bits.
    if (s->position == s->length && s->length == (s->chunk_count << s->chunk_shift) &&
        add_chunk(s) != 0)
        return nullptr;
    unsigned char *p = element_address(s, s->position);
    uint32_t room = s->chunk_elements - slot_in_chunk(s, s->position);
    if (*count > room)
        *count = room;
    s->position += *count;
    if (s->position > s->length)
        s->length = s->position;
    return p;
}

void *array_stream_read(array_stream *s, uint32_t *count)
{
    if (s->position == s->length)
        return nullptr;
    unsigned char *p = element_address(s, s->position);
    uint32_t n = 1;
    if (count) {
        uint32_t in_chunk = s->chunk_elements - slot_in_chunk(s, s->position);
        uint32_t stored = s->length - s->position;
        n = in_chunk < stored ? in_chunk : stored;
        *count = n;
    }
    s->position += n;
    return p;
}

void *array_stream_index(const array_stream *s, uint32_t index)
{
    if (index >= s->length)
        return anvil::fail<void *>(EINVAL, nullptr);
    return element_address(s, index);
}

uint32_t array_stream_seek(array_stream *s, int32_t offset, int origin)
{
    uint32_t before = s->position;
    uint32_t base;
    switch (origin) {
    case SEEK_SET: base = 0; break;
    case SEEK_CUR: base = s->position; break;
    case SEEK_END: base = s->length; break;
    default: return before;
    }
    uint32_t target = base + static_cast<uint32_t>(offset);
    // cppcheck-suppress knownConditionTrueFalse ; true when offset reaches below 0
    if (static_cast<int32_t>(target) < 0)
        s->position = 0;
    else if (target > s->length)
        s->position = s->length;
    else
        s->position = target;
    return before;
}

uint32_t array_stream_length(const array_stream *s)
{
    return s->length;
}

uint32_t array_stream_element_size(const array_stream *s)
{
    return s->element_size;
}

void array_stream_clear(array_stream *s)
{
    s->length = 0;
    s->position = 0;
}

void array_stream_copy_all(const array_stream *s, void *dest)
{
    auto *out = static_cast<unsigned char *>(dest);
    uint32_t left = s->length;
    for (uint32_t i = 0; left != 0; ++i) {
        uint32_t n = left < s->chunk_elements ? left : s->chunk_elements;
        size_t bytes = static_cast<size_t>(n) * s->element_size;
        std::memcpy(out, s->chunks[i], bytes);
        out += bytes;
        left -= n;
    }
}

void array_stream_drop(array_stream *s, uint32_t count)
{
    // No partial drop: any count empties the stream, so callers never have to
    // guess what was kept.
    (void)count;
    array_stream_clear(s);
}
