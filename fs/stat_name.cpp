#include "fs/stat_name.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/errno_guard.hpp"

namespace anvil {

// A name that holds ')' itself is cut there.
int copy_stat_name(char *text, size_t got, char *out, size_t size)
{
    text[got] = '\0';
    char *close = std::strchr(text, ')');
    if (!close)
        return fail(EFAULT);
    *close = '\0';
    const char *open = std::strchr(text, '(');
    if (!open)
        return fail(EFAULT);
    (void)std::snprintf(out, size, "%s", open + 1);
    return 0;
}

}  // namespace anvil
