// A container against its model; ANVIL_MODEL names the check.
#include <cstdio>
#include <cstdlib>

#include "model/model.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (const char *diff = anvil_model::ANVIL_MODEL(data, size)) {
        std::fprintf(stderr, "container and model differ: %s\n", diff);
        std::abort();
    }
    return 0;
}
