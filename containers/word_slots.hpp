// What the word queue and the word stack have in common: a handle with a
// fixed array of word slots, created and destroyed the same way, and the
// same refusals when full or empty.
#pragma once

#include <cerrno>
#include <cstdint>
#include <cstdlib>

#include "base/errno_guard.hpp"

namespace anvil {

// Allocates the handle, then capacity slots (left uninitialised), and sets
// every other field to 0. The slot array's byte count must fit in 32 bits
// on every target, so a larger capacity is refused before anything is
// allocated rather than wrapped into a short array.
template <class Handle>
Handle *slots_create(uint32_t capacity)
{
    if (capacity > UINT32_MAX / sizeof(uintptr_t))
        return fail<Handle *>(EINVAL, nullptr);
    auto *h = static_cast<Handle *>(std::malloc(sizeof(Handle)));
    if (!h)
        return nullptr;
    auto *data = static_cast<uintptr_t *>(std::malloc(size_t{capacity} * sizeof(uintptr_t)));
    // malloc(0) may return NULL: with no slots there is nothing to miss.
    if (!data && capacity != 0) {
        free_keep_errno(h);
        return nullptr;
    }
    *h = Handle{};
    h->capacity = capacity;
    h->data = data;
    return h;
}

template <class Handle>
void slots_destroy(Handle *h)
{
    std::free(h->data);
    std::free(h);
}

// -1 with ENOBUFS when no slot is free, else 0.
template <class Handle>
int slots_refuse_push(const Handle *h)
{
    return h->length == h->capacity ? fail(ENOBUFS) : 0;
}

// The value a pop or peek returns on an empty container, with its errno.
inline uintptr_t slots_empty()
{
    return fail<uintptr_t>(ENODATA, 0);
}

}  // namespace anvil
