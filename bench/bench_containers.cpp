// Bit search, string building and shaker sort against what a user would
// pick instead.
#include <anvil/sort.h>
#include <anvil/bitmap.h>
#include <anvil/string_builder.h>

#include <benchmark/benchmark.h>
#include <glib.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

// ---- find_next_bit over a sparse 1 Mbit map: every set bit, in order.

constexpr uint32_t kBits = 1u << 20;

const std::vector<uint32_t> &sparse_map()
{
    static std::vector<uint32_t> map = [] {
        std::vector<uint32_t> m(kBits / 32);
        std::mt19937 rng(1);
        for (int i = 0; i < 256; ++i)  // about one bit in 4096
            bitmap_set(m.data(), rng() % kBits, 1);
        return m;
    }();
    return map;
}

// The same search a word at a time with the compiler's builtin: the limit.
uint32_t next_bit_builtin(const uint32_t *map, uint32_t size, uint32_t offset)
{
    if (offset >= size)
        return size;
    uint32_t i = offset >> 5;
    const uint32_t words = (size + 31) >> 5;
    uint32_t w = map[i] & (~0u << (offset & 31));
    while (!w) {
        if (++i == words)
            return size;
        w = map[i];
    }
    uint32_t k = (i << 5) + static_cast<uint32_t>(__builtin_ctz(w));
    return k < size ? k : size;
}

// The obvious loop: skip zero bytes, then test bits one by one.
uint32_t next_bit_bytes(const uint32_t *map, uint32_t size, uint32_t offset)
{
    const auto *b = reinterpret_cast<const uint8_t *>(map);
    for (uint32_t k = offset; k < size;) {
        if ((k & 7) == 0 && b[k >> 3] == 0) {
            k += 8;
            continue;
        }
        if (b[k >> 3] >> (k & 7) & 1)
            return k;
        ++k;
    }
    return size;
}

template <uint32_t (*next)(const uint32_t *, uint32_t, uint32_t)>
void BM_NextBit(benchmark::State &state)
{
    const uint32_t *m = sparse_map().data();
    for (auto _ : state) {
        uint32_t sum = 0;
        for (uint32_t k = next(m, kBits, 0); k < kBits; k = next(m, kBits, k + 1))
            sum += k;
        benchmark::DoNotOptimize(sum);
    }
}
BENCHMARK_TEMPLATE(BM_NextBit, find_next_bit)->Name("find_next_bit/anvil");
BENCHMARK_TEMPLATE(BM_NextBit, next_bit_builtin)->Name("find_next_bit/ctz_builtin");
BENCHMARK_TEMPLATE(BM_NextBit, next_bit_bytes)->Name("find_next_bit/byte_loop");

// ---- 1,000,000 small formatted pieces into one text: the time in ms is
// the cost of one piece in ns.

constexpr int kPieces = 1000000;

void BM_AppendAnvil(benchmark::State &state)
{
    for (auto _ : state) {
        string_builder *b = string_builder_create();
        for (int i = 0; i < kPieces; ++i)
            string_builder_append(b, "%d:%s;", i, "ab");
        benchmark::DoNotOptimize(string_builder_to_string(b));
        string_builder_destroy(b);
    }
}
BENCHMARK(BM_AppendAnvil)->Name("append/string_builder")->Unit(benchmark::kMillisecond);

void BM_AppendGlib(benchmark::State &state)
{
    for (auto _ : state) {
        GString *s = g_string_new("");
        for (int i = 0; i < kPieces; ++i)
            g_string_append_printf(s, "%d:%s;", i, "ab");
        benchmark::DoNotOptimize(s->str);
        g_string_free(s, TRUE);
    }
}
BENCHMARK(BM_AppendGlib)->Name("append/g_string_append_printf")->Unit(benchmark::kMillisecond);

void BM_AppendStdString(benchmark::State &state)
{
    for (auto _ : state) {
        std::string s;
        char piece[64];
        for (int i = 0; i < kPieces; ++i) {
            int n = std::snprintf(piece, sizeof piece, "%d:%s;", i, "ab");
            s.append(piece, static_cast<size_t>(n));
        }
        benchmark::DoNotOptimize(s.data());
    }
}
BENCHMARK(BM_AppendStdString)->Name("append/std_string_snprintf")->Unit(benchmark::kMillisecond);

// ---- ShakerSort against qsort on sorted and nearly sorted input.

constexpr int kSortCount = 10000;

int int_order(const void *a, const void *b)
{
    int x = *static_cast<const int *>(a), y = *static_cast<const int *>(b);
    return (x > y) - (x < y);
}

// Sorted, or sorted with 1% of the elements swapped with one at most 8 away.
std::vector<int> sort_input(bool nearly)
{
    std::vector<int> v(kSortCount);
    for (int i = 0; i < kSortCount; ++i)
        v[i] = i;
    std::mt19937 rng(3);
    for (int n = nearly ? kSortCount / 100 : 0; n > 0; --n) {
        size_t i = rng() % (kSortCount - 8);
        std::swap(v[i], v[i + 1 + rng() % 8]);
    }
    return v;
}

template <bool shaker>
void BM_Sort(benchmark::State &state)
{
    const std::vector<int> input = sort_input(state.range(0) != 0);
    std::vector<int> v(input.size());
    for (auto _ : state) {
        std::memcpy(v.data(), input.data(), input.size() * sizeof(int));
        if (shaker)
            ShakerSort(v.data(), kSortCount, sizeof(int), int_order, nullptr);
        else
            std::qsort(v.data(), kSortCount, sizeof(int), int_order);
        benchmark::DoNotOptimize(v.data());
    }
}
BENCHMARK_TEMPLATE(BM_Sort, true)->Name("sort/ShakerSort")->ArgName("nearly")->Arg(0)->Arg(1)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_TEMPLATE(BM_Sort, false)->Name("sort/qsort")->ArgName("nearly")->Arg(0)->Arg(1)
    ->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
