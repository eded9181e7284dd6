// Stable in-place shaker sort and its element swaps.
#include "anvil/sort.h"

#include <cstring>

namespace {

using Compare = int (*)(const void *, const void *);
using SwapFn = void (*)(void *, void *, int32_t);

// Exchanges one value of type T, as u32_swap and u64_swap do.
template <class T>
struct WordSwap {
    void operator()(void *a, void *b) const
    {
        T x, y;
        std::memcpy(&x, a, sizeof x);
        std::memcpy(&y, b, sizeof y);
        std::memcpy(a, &y, sizeof y);
        std::memcpy(b, &x, sizeof x);
    }
};

struct ByteSwap {
    int32_t size;
    void operator()(void *a, void *b) const { generic_swap(a, b, size); }
};

struct CallerSwap {
    SwapFn fn;
    int32_t size;
    void operator()(void *a, void *b) const { fn(a, b, size); }
};

// Bidirectional bubble sort; each bound moves to the last exchange of its
// pass, since everything beyond it is already in place. Exchanging only on
// a strictly greater pair keeps equal elements in order. The indices never
// go below 0, so unsigned ones behave exactly as signed ones would.
template <class Swap>
void shaker(char *base, uint32_t count, size_t size, Compare compare, Swap swap)
{
    auto at = [base, size](uint32_t i) { return base + size_t{i} * size; };
    uint32_t lo = 0;
    uint32_t hi = count - 1;
    uint32_t last = 0;
    while (lo < hi) {
        for (uint32_t i = lo; i < hi; ++i) {
            if (compare(at(i), at(i + 1)) > 0) {
                swap(at(i), at(i + 1));
                last = i;
            }
        }
        hi = last;
        for (uint32_t i = hi; i > lo; --i) {
            if (compare(at(i - 1), at(i)) > 0) {
                swap(at(i - 1), at(i));
                last = i;
            }
        }
        lo = last;
    }
}

}  // namespace

void ShakerSort(void *base, uint32_t count, int32_t size, Compare compare, SwapFn swap)
{
    if (count == 0 || size <= 0 || !compare)
        return;
    auto *b = static_cast<char *>(base);
    auto n = static_cast<size_t>(size);
    // The default swaps are inlined rather than called through u32_swap,
    // u64_swap and generic_swap; they move the same bytes.
    if (swap)
        shaker(b, count, n, compare, CallerSwap{swap, size});
    else if (size == 4)
        shaker(b, count, n, compare, WordSwap<uint32_t>{});
    else if (size == 8)
        shaker(b, count, n, compare, WordSwap<uint64_t>{});
    else
        shaker(b, count, n, compare, ByteSwap{size});
}

void u32_swap(void *a, void *b, int32_t)
{
    WordSwap<uint32_t>{}(a, b);
}

void u64_swap(void *a, void *b, int32_t)
{
    WordSwap<uint64_t>{}(a, b);
}

void generic_swap(void *a, void *b, int32_t size)
{
    auto *x = static_cast<unsigned char *>(a);
    auto *y = static_cast<unsigned char *>(b);
    for (int32_t i = 0; i < size; ++i) {
        unsigned char t = x[i];
        x[i] = y[i];
        y[i] = t;
    }
}
