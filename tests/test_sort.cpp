// First, as the header asks, so that the bsearch below is the library's.
#include <anvil/sort.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <random>
#include <vector>

namespace {

int compares, swaps;
std::vector<int> probes;

int by_first_byte(const void *a, const void *b) { return ++compares, *(const uint8_t *)a - *(const uint8_t *)b; }
void counted_swap(void *a, void *b, int32_t size) { ++swaps, generic_swap(a, b, size); }

}  // namespace

// Records of 4, 8 and 12 bytes whose first is the key, the others telling
// equal keys apart: sorted with the default swap for the size, with a
// caller's swap, and once more when already sorted, which takes one pass
// without a swap.
TEST(ShakerSort, StableAndEqualToStdStableSort)
{
    std::mt19937 rng(7);
    for (uint32_t size : {4u, 8u, 12u}) {
        for (uint32_t n = 0; n < 40; ++n) {
            std::vector<std::vector<uint8_t>> records(n);
            for (uint32_t i = 0; i < n; ++i) {
                records[i].assign(size, static_cast<uint8_t>(i));
                records[i][0] = static_cast<uint8_t>(rng() % 5);
            }
            auto flat = [](const auto &all) {
                std::vector<uint8_t> bytes;
                for (const auto &r : all)
                    bytes.insert(bytes.end(), r.begin(), r.end());
                return bytes;
            };
            std::vector<uint8_t> given = flat(records), v = given, w = given;
            std::stable_sort(records.begin(), records.end(), [](auto &a, auto &b) { return a[0] < b[0]; });
            const std::vector<uint8_t> want = flat(records);
            ShakerSort(v.data(), n, size, by_first_byte, nullptr);
            compares = swaps = 0;
            ShakerSort(w.data(), n, size, by_first_byte, counted_swap);
            ASSERT_TRUE(v == want && w == want && (swaps == 0) == (given == want)) << size << " bytes, " << n;
            compares = swaps = 0;
            ShakerSort(w.data(), n, size, by_first_byte, counted_swap);
            ASSERT_TRUE(compares == std::max(n, 1u) - 1 && swaps == 0) << size << " bytes, " << n;
        }
    }
}

TEST(ShakerSort, SwapsAndCallsThatDoNothing)
{
    alignas(8) uint32_t w[6] = {1, 2, 3, 4, 5, 6};
    u32_swap(&w[0], &w[1], 99);
    u64_swap(&w[2], &w[4], 99);
    generic_swap(&w[0], &w[3], 12);
    generic_swap(&w[0], &w[3], 0);
    generic_swap(&w[0], &w[3], -1);
    compares = swaps = 0;
    ShakerSort(w, 6, 0, by_first_byte, counted_swap);
    ShakerSort(w, 6, 4, nullptr, counted_swap);
    EXPECT_TRUE(compares == 0 && swaps == 0);
    EXPECT_EQ(std::vector<uint32_t>(w, w + 6), (std::vector<uint32_t>{6, 3, 4, 2, 1, 5}));
}

TEST(Bsearch, ProbesTheMiddleOfTheRemainingRange)
{
    static const int a[] = {1, 3, 5, 7, 9};
    auto probe = [](const void *key, const void *element) {
        probes.push_back(*static_cast<const int *>(element));
        return *static_cast<const int *>(key) - *static_cast<const int *>(element);
    };
    const int five = 5, four = 4;
    EXPECT_TRUE(bsearch(&five, a, 5, sizeof(int), probe) == &a[2] && !bsearch(&four, a, 5, sizeof(int), probe));
    EXPECT_EQ(bsearch(&four, a, 0, sizeof(int), probe), nullptr);
    EXPECT_EQ(probes, (std::vector<int>{5, 5, 3}));
    // SIZE_MAX elements of size 0 with the key above each: start + (end -
    // start) / 2 ends after one probe per bit of size_t, where the C
    // library's (start + end) / 2 wraps and never would, so this also shows
    // whose bsearch the program reached.
    probes.clear();
    auto above = [](const void *, const void *) { probes.push_back(0); return probes.size() < 1000 ? 1 : 0; };
    EXPECT_EQ(bsearch(a, a, SIZE_MAX, 0, above), nullptr);
    EXPECT_EQ(probes.size(), sizeof(size_t) * CHAR_BIT);
}
