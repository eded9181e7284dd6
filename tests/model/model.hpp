// Model-based checks of the containers: a script of operations, decoded from
// bytes, runs against the container and a standard-library model side by
// side, and every result and every state is compared after every step. The
// same checks run as fuzz targets and, over their saved inputs, in the tests.
//
// A script is a header, then operations, each a code byte (taken modulo the
// number of operations) followed by its argument bytes.
#pragma once

#include "model/reader.hpp"

namespace anvil_model {

// Each ends the run (ANVIL_CHECK) where container and model first differ.
void check_ring_buffer(const uint8_t *data, size_t size);
void check_dlist(const uint8_t *data, size_t size);
void check_array_stream(const uint8_t *data, size_t size);
void check_word_containers(const uint8_t *data, size_t size);
void check_string_builder(const uint8_t *data, size_t size);
void check_bitmap(const uint8_t *data, size_t size);

}  // namespace anvil_model
