// getPathLastComponent and mkdirp.
#include "anvil/path.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>

#include "base/errno_guard.hpp"
#include "fs/path_copy.hpp"

namespace {

// 0 when path is a directory itself (a link to one is not), else -1 with
// EEXIST, or lstat's errno.
int existing_directory(const char *path)
{
    struct stat st;
    if (::lstat(path, &st) != 0)
        return -1;
    return S_ISDIR(st.st_mode) ? 0 : anvil::fail(EEXIST);
}

// Creates every prefix of the writable path that ends at a '/' or at its end.
int make_prefixes(char *copy)
{
    char *p = copy + (copy[0] == '/' ? 1 : 0);  // the root is never created
    for (;; ++p) {
        char c = *p;
        if (c != '/' && c != '\0')
            continue;
        *p = '\0';
        if (::mkdir(copy, 0777) != 0) {
            if (errno != EEXIST)
                return -1;
            if (c == '\0')
                return existing_directory(copy);
            // An existing prefix, or an empty one between doubled slashes.
        }
        if (c == '\0')
            return 0;
        *p = c;
    }
}

}  // namespace

char *getPathLastComponent(char *path)
{
    if (*path == '\0')
        return path;
    char *p = path + std::strlen(path) - 1;
    if (*p == '/') {
        if (p == path)
            return p;
        *p-- = '\0';
    }
    for (; p != path; --p)
        if (*p == '/')
            return p + 1;
    return *p == '/' ? p + 1 : path;
}

int mkdirp(const char *path)
{
    if (::mkdir(path, 0777) == 0)
        return 0;
    if (errno == EEXIST)
        return existing_directory(path);
    if (errno != ENOENT)
        return -1;
    size_t len = std::strlen(path);
    if (len == 0)
        return anvil::fail(ENOENT);
    // A lone "/" never gets here: mkdir("/") fails with EEXIST.
    char *copy = anvil::copy_path_without_slash(path, &len);
    if (!copy)
        return -1;
    int r = make_prefixes(copy);
    anvil::free_keep_errno(copy);
    return r;
}
