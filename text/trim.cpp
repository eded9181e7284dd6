// Trimming white space from both ends of a caller's string.
#include "anvil/text.h"

#include <cctype>
#include <cstring>

namespace {

bool is_space(char c)
{
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

}  // namespace

void trim(char *str)
{
    char *p = str;
    while (is_space(*p))
        ++p;
    if (*p == '\0') {
        *str = '\0';
        return;
    }
    // The byte at p is not white space, so the backward walk stops there.
    char *e = p + std::strlen(p) - 1;
    while (e > p && is_space(*e))
        *e-- = '\0';
    if (p != str)
        std::memmove(str, p, static_cast<size_t>(e - p) + 2);
}
