// Reading a directory stream that belongs to one call, with a read error told
// apart from the end of the directory.
#pragma once

#include <cerrno>
#include <dirent.h>

namespace anvil {

// Next entry other than "." and "..": nullptr at the end (*err = 0) or on a
// read error (*err = its errno). readdir is safe here because no other thread
// sees the stream; it replaces the deprecated readdir_r.
inline dirent *next_entry(DIR *dir, int *err)
{
    for (;;) {
        errno = 0;
        // cppcheck-suppress readdirCalled ; see above
        dirent *e = ::readdir(dir);  // NOLINT(concurrency-mt-unsafe): dir is private
        if (!e) {
            *err = errno;
            return nullptr;
        }
        const char *n = e->d_name;
        if (!(n[0] == '.' && (n[1] == '\0' || (n[1] == '.' && n[2] == '\0'))))
            return e;
    }
}

}  // namespace anvil
