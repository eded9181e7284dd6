// A container against its model; ANVIL_MODEL names the check.
#include "model/model.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    anvil_model::ANVIL_MODEL(data, size);
    return 0;
}
