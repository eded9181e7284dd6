/* Which bsearch an optimised C program that includes <stdlib.h> reaches:
 * over SIZE_MAX elements of size 0 with the key above each, this library
 * ends after one probe per bit of size_t; the C library's copy, inline or
 * not, wraps its midpoint and would never end. */
#ifdef STDLIB_FIRST
#include <stdlib.h>
#include <anvil.h>
#else
#include <anvil.h>
#include <stdlib.h>
#endif
#include <limits.h>
#include <stdio.h>

static int calls;

static int key_above(const void *key, const void *element)
{
    return key && element && ++calls < 1000;
}

int main(void)
{
    static const char array[1];
    void *found = bsearch(array, array, SIZE_MAX, 0, key_above);
    if (found || calls != (int)(sizeof(size_t) * CHAR_BIT)) {
        printf("not this library's bsearch: %d probes\n", calls);
        return 1;
    }
    return 0;
}
