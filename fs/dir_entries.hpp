// Reading a directory stream that belongs to one call, with a read error told
// apart from the end of the directory.
#pragma once

#include <dirent.h>

namespace anvil {

// Next entry other than "." and "..", read into *storage: nullptr at the end
// (*err = 0) or on a read error (*err = the error number readdir_r returned).
inline dirent *next_entry(DIR *dir, dirent *storage, int *err)
{
    for (;;) {
        dirent *e = nullptr;
        // readdir_r is deprecated in favour of readdir; it is kept because its
        // error comes back as a result of its own, apart from errno.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
        *err = ::readdir_r(dir, storage, &e);
#pragma GCC diagnostic pop
        if (*err != 0 || !e)
            return nullptr;
        const char *n = e->d_name;
        if (!(n[0] == '.' && (n[1] == '\0' || (n[1] == '.' && n[2] == '\0'))))
            return e;
    }
}

}  // namespace anvil
