// Reads a script's bytes; past the end every byte reads as 0.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace anvil_model {

struct Reader {
    const uint8_t *data;
    size_t size;
    bool more() const { return size != 0; }
    uint8_t byte()
    {
        if (!size)
            return 0;
        --size;
        return *data++;
    }
};

}  // namespace anvil_model

// Ends a fuzz run at the first disagreement with the model, naming the check.
#define ANVIL_CHECK(ok) \
    ((ok) ? (void)0 : (std::fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #ok), std::abort()))
