// Model-based checks of the containers: a script of operations, decoded from
// bytes, runs against the container and a standard-library model side by
// side, and every result and every state is compared after every step. The
// same checks run as fuzz targets and, over their saved inputs, in the tests.
#pragma once

#include <cstddef>
#include <cstdint>

namespace anvil_model {

// Each ends the run (ANVIL_CHECK) where container and model first differ.
void check_ring_buffer(const uint8_t *data, size_t size);
void check_dlist(const uint8_t *data, size_t size);
void check_array_stream(const uint8_t *data, size_t size);
void check_word_containers(const uint8_t *data, size_t size);
void check_string_builder(const uint8_t *data, size_t size);
void check_bitmap(const uint8_t *data, size_t size);

// Operation codes: a script is a header, then operations, each a code byte
// followed by its argument bytes. Codes are taken modulo their count.
namespace ring {
// Header: capacity code, element size code, near-wrap flag, wrap distance.
// Near wrap starts with one zero element stored and the counters that many
// elements below 2^32.
enum Op : uint8_t { Write, Read, Fill, Drain, Reset, kOps };  // each takes a count
}  // namespace ring
namespace list {
// No header. Values are small so that searches meet duplicates.
enum Op : uint8_t {
    AddFirst, AddLast, AddBefore, AddAfter,  // [index,] value
    RemoveFirst, RemoveLast, RemoveNode,     // [index]
    Clear, Find, FindLast, Equal,            // [value]; Equal compares with a copy
    kOps
};
}  // namespace list
namespace stream {
// Header: element size code, chunk size code.
enum Op : uint8_t {
    Write, Read, ReadOne, Index, Seek, Clear, Drop, CopyAll,  // each takes one byte
    kOps
};
}  // namespace stream
namespace words {
// Header: capacity. Queue and stack side by side.
enum Op : uint8_t { QueuePush, QueuePop, QueuePeek, StackPush, StackPop, StackPeek, kOps };  // [value]
}  // namespace words
namespace text {
enum Op : uint8_t { Append, AppendInt, Truncate, Unencodable, kOps };  // each takes one byte
}  // namespace text
namespace bits {
// Header: size, junk for the bits above it. Start and count bytes are
// scaled to the size.
enum Op : uint8_t { Set, Clear, FindFirst, FindFirstZero, FindNext, FindNextZero, kOps };
}  // namespace bits

}  // namespace anvil_model
