// First, as the header asks, so that the bsearch below is the library's.
#include <anvil/sort.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

namespace {

int compares, swaps;
std::vector<int> probes;

int by_int(const void *a, const void *b) { return ++compares, *(const int *)a - *(const int *)b; }
void counted_swap(void *a, void *b, int32_t size) { ++swaps, generic_swap(a, b, size); }

// size bytes whose first is the key; the others tell equal keys apart.
template <size_t size>
struct Record {
    unsigned char bytes[size];
    bool operator<(const Record &o) const { return bytes[0] < o.bytes[0]; }
    bool operator==(const Record &o) const { return std::memcmp(bytes, o.bytes, size) == 0; }
};

// With the default swap for the size (u32_swap, u64_swap, generic_swap).
template <size_t size>
void expect_like_stable_sort(std::mt19937 &rng)
{
    auto key = [](const void *a, const void *b) { return *(const unsigned char *)a - *(const unsigned char *)b; };
    for (uint32_t n = 0; n < 60; ++n) {
        std::vector<Record<size>> v(n);
        for (uint32_t i = 0; i < n; ++i) {
            std::memset(v[i].bytes, static_cast<int>(i), size);
            v[i].bytes[0] = static_cast<unsigned char>(rng() % 5);
        }
        auto want = v;
        std::stable_sort(want.begin(), want.end());
        ShakerSort(v.data(), n, size, key, nullptr);
        ASSERT_EQ(v, want) << "size " << size << ", count " << n;
    }
}

}  // namespace

TEST(ShakerSort, StableAndEqualToStdStableSort)
{
    std::mt19937 rng(7);
    expect_like_stable_sort<4>(rng);
    expect_like_stable_sort<8>(rng);
    expect_like_stable_sort<12>(rng);
}

TEST(ShakerSort, SortedInputCostsOnePassAndNoSwap)
{
    int a[100], b[] = {2, 1};
    for (int i = 0; i < 100; ++i)
        a[i] = i / 3;
    ShakerSort(a, 100, sizeof(int), by_int, counted_swap);
    EXPECT_TRUE(compares == 99 && swaps == 0);
    ShakerSort(b, 1, sizeof(int), by_int, counted_swap);
    ShakerSort(b, 0, sizeof(int), by_int, counted_swap);
    ShakerSort(b, 2, 0, by_int, counted_swap);
    ShakerSort(b, 2, sizeof(int), nullptr, counted_swap);
    EXPECT_TRUE(compares == 99 && swaps == 0 && b[0] == 2);
}

TEST(ShakerSort, Swaps)
{
    unsigned char x[12] = {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2}, y[12] = {};
    generic_swap(x, y, 12);
    generic_swap(x, y, 0);
    generic_swap(x, y, -1);
    uint32_t a = 1, b = 2;
    uint64_t c = 1ull << 40, d = 3;
    u32_swap(&a, &b, 0);
    u64_swap(&c, &d, 0);
    EXPECT_TRUE(y[0] == 1 && y[11] == 2 && x[0] == 0 && x[11] == 0 && a == 2 && b == 1 && c == 3 && d == 1ull << 40);
}

TEST(Bsearch, ProbesTheMiddleOfTheRemainingRange)
{
    static const int a[] = {1, 3, 5, 7, 9};
    auto probe = [](const void *key, const void *element) {
        probes.push_back(*static_cast<const int *>(element));
        return by_int(key, element);
    };
    int key = 5;
    EXPECT_EQ(bsearch(&key, a, 5, sizeof(int), probe), &a[2]);
    key = 4;
    EXPECT_EQ(bsearch(&key, a, 5, sizeof(int), probe), nullptr);
    EXPECT_EQ(bsearch(&key, a, 0, sizeof(int), probe), nullptr);
    EXPECT_EQ(probes, (std::vector<int>{5, 5, 3}));

    // SIZE_MAX elements of size 0, all at the base, with the key above each:
    // start + (end - start) / 2 ends after one probe per bit of size_t, while
    // the C library's (start + end) / 2 wraps and never would. So this also
    // shows whose bsearch the program reached.
    probes.clear();
    auto above = [](const void *, const void *) { probes.push_back(0); return probes.size() < 1000 ? 1 : 0; };
    EXPECT_EQ(bsearch(a, a, SIZE_MAX, 0, above), nullptr);
    EXPECT_EQ(probes.size(), sizeof(size_t) * CHAR_BIT);
}
