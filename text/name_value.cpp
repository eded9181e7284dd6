// Splitting name=value pairs joined by '&' in place.
#include "anvil/text.h"

int parseNameValue(char **cursor, char **name, char **value)
{
    char *p = *cursor;
    if (p == nullptr)
        return -1;
    *name = p;
    char sought = '=';
    for (; *p != '\0'; ++p) {
        if (*p != sought)
            continue;
        *p = '\0';
        if (sought == '&') {
            *cursor = p + 1;
            return 0;
        }
        *value = p + 1;
        sought = '&';
    }
    *cursor = nullptr;
    return sought == '&' ? 0 : -1;
}
