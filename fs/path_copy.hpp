// The private, writable copy of a path that mkdirp and rm work on.
#pragma once

#include <cstdlib>
#include <cstring>

namespace anvil {

// Copies path (len > 0 bytes and its NUL) and drops one trailing '/' from the
// copy, updating *len. Returns nullptr, errno set, when out of memory.
inline char *copy_path_without_slash(const char *path, size_t *len)
{
    auto *copy = static_cast<char *>(std::malloc(*len + 1));
    if (!copy)
        return nullptr;
    std::memcpy(copy, path, *len + 1);
    if (copy[*len - 1] == '/')
        copy[--*len] = '\0';
    return copy;
}

}  // namespace anvil
