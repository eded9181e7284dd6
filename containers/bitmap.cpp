// Bitmaps of 32-bit words: run updates and the four bit searches.
#include "anvil/bitmap.h"

#include <bit>

namespace {

constexpr uint32_t all_ones = ~uint32_t{0};

// Number of the lowest set bit of a non-zero word. A count-trailing-zeros
// instruction gives the same number as a halving search, in one step.
inline uint32_t lowest_set_bit(uint32_t w)
{
    return static_cast<uint32_t>(std::countr_zero(w));
}

// Applies mask to the run start .. start + count - 1: the first word from
// start upwards, whole words in between, the last word below the end.
template <bool set>
void update(uint32_t *map, uint32_t start, int32_t count)
{
    if (count <= 0)
        return;
    auto apply = [](uint32_t &word, uint32_t mask) {
        if constexpr (set)
            word |= mask;
        else
            word &= ~mask;
    };
    uint32_t *p = map + (start >> 5);
    uint32_t end = start + static_cast<uint32_t>(count);
    auto take = static_cast<int32_t>(32 - (start & 31));
    uint32_t mask = all_ones << (start & 31);
    while (count - take >= 0) {
        apply(*p++, mask);
        count -= take;
        take = 32;
        mask = all_ones;
    }
    if (count != 0)
        apply(*p, mask & ((end & 31) ? (uint32_t{1} << (end & 31)) - 1 : all_ones));
}

// The lowest set bit (clear bit when invert) in offset .. size - 1, or size.
// Searching for a clear bit is searching the complement for a set bit, so
// each word is inverted as it is read.
template <bool invert>
uint32_t search(const uint32_t *map, uint32_t size, uint32_t offset)
{
    if (offset >= size)
        return size;
    auto load = [map](uint32_t i) { return invert ? ~map[i] : map[i]; };
    uint32_t i = offset >> 5;
    const uint32_t last = (size - 1) >> 5;
    uint32_t word = load(i) & (all_ones << (offset & 31));
    for (;;) {
        if (i == last) {
            if (size & 31)
                word &= all_ones >> (32 - (size & 31));
            return word ? (i << 5) + lowest_set_bit(word) : size;
        }
        if (word)
            return (i << 5) + lowest_set_bit(word);
        word = load(++i);
    }
}

}  // namespace

void bitmap_set(uint32_t *map, uint32_t start, int32_t count)
{
    update<true>(map, start, count);
}

void bitmap_clear(uint32_t *map, uint32_t start, int32_t count)
{
    update<false>(map, start, count);
}

uint32_t find_first_bit(const uint32_t *map, uint32_t size)
{
    return search<false>(map, size, 0);
}

uint32_t find_first_zero_bit(const uint32_t *map, uint32_t size)
{
    return search<true>(map, size, 0);
}

uint32_t find_next_bit(const uint32_t *map, uint32_t size, uint32_t offset)
{
    return search<false>(map, size, offset);
}

uint32_t find_next_zero_bit(const uint32_t *map, uint32_t size, uint32_t offset)
{
    return search<true>(map, size, offset);
}
