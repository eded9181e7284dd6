// The name field of a /proc/<pid>/stat text, apart from the reading of the
// file, so that the parsing can be exercised on any text.
#pragma once

#include <cstddef>

namespace anvil {

// text holds got bytes as read, with room for one more. Copies the name (what
// lies between the '(' and the first ')') into out with snprintf's limits.
// Returns 0, or -1 with errno EFAULT when the text holds no such name.
int copy_stat_name(char *text, size_t got, char *out, size_t size);

}  // namespace anvil
