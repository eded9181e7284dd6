// Binary search under the C library's name.
#include "anvil/sort.h"

void *bsearch(const void *key, const void *base, size_t count, size_t size,
              int (*compare)(const void *, const void *))
{
    size_t start = 0;
    size_t end = count;
    while (start < end) {
        // Not (start + end) / 2, which wraps for ranges beyond half of size_t.
        size_t mid = start + (end - start) / 2;
        const char *element = static_cast<const char *>(base) + mid * size;
        int r = compare(key, element);
        if (r < 0)
            end = mid;
        else if (r > 0)
            start = mid + 1;
        else
            return const_cast<char *>(element);
    }
    return nullptr;
}
