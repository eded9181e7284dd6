// rm: depth-first removal of a tree that never follows a symbolic link.
#include "anvil/path.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/errno_guard.hpp"
#include "fs/dir_entries.hpp"
#include "fs/path_copy.hpp"

namespace {

constexpr size_t kSlack = 256;

// 0 when the call succeeded or found nothing to remove, else -1.
int done_unless_failed(int r)
{
    return r == 0 || errno == ENOENT ? 0 : -1;
}

// opendir follows a symbolic link. One swapped in for the directory since
// the lstat shows as another file than lstat saw, and is refused as the
// directory's own open would refuse a link (ENOTDIR): the removal never goes
// on inside what the link points to.
DIR *open_directory(const char *path, const struct stat &seen)
{
    DIR *dir = ::opendir(path);
    if (!dir)
        return nullptr;
    struct stat opened;
    int err = ::fstat(::dirfd(dir), &opened) != 0 ? errno : 0;
    if (err == 0 && (opened.st_dev != seen.st_dev || opened.st_ino != seen.st_ino))
        err = ENOTDIR;
    if (err == 0)
        return dir;
    (void)::closedir(dir);
    errno = err;
    return nullptr;
}

int remove_tree(char *path, size_t length);

// Removes every entry of dir, whose path is path[0, length). Returns 0 or an
// errno value.
int remove_entries(DIR *dir, const char *path, size_t length)
{
    size_t capacity = length + kSlack;
    char *child = static_cast<char *>(std::malloc(capacity));
    if (!child)
        return errno;
    std::memcpy(child, path, length);
    child[length] = '/';
    const size_t prefix = length + 1;
    size_t room = capacity - prefix - 1;  // one byte is kept for the NUL
    int err = 0;
    dirent storage;
    while (dirent *e = anvil::next_entry(dir, &storage, &err)) {
        size_t len = std::strlen(e->d_name);
        if (room < len) {
            capacity += len - room + kSlack;
            char *grown = static_cast<char *>(std::realloc(child, capacity));
            if (!grown) {
                err = errno;
                break;
            }
            child = grown;
            room = capacity - prefix - 1;
        }
        std::memcpy(child + prefix, e->d_name, len + 1);
        if (remove_tree(child, prefix + len) != 0) {
            err = errno;
            break;
        }
    }
    std::free(child);
    return err;
}

int remove_tree(char *path, size_t length)
{
    struct stat st;
    if (::lstat(path, &st) != 0)
        return done_unless_failed(-1);
    if (!S_ISDIR(st.st_mode))
        return done_unless_failed(::unlink(path));
    DIR *dir = open_directory(path, st);
    if (!dir)
        return done_unless_failed(-1);
    int err = remove_entries(dir, path, length);
    if (::closedir(dir) != 0 && err == 0)
        err = errno;
    if (err != 0)
        return anvil::fail(err);
    return done_unless_failed(::rmdir(path));
}

}  // namespace

int rm(const char *path)
{
    size_t len = std::strlen(path);
    if (len == 0)
        return anvil::fail(EINVAL);
    char *copy = anvil::copy_path_without_slash(path, &len);
    if (!copy)
        return -1;
    int r = remove_tree(copy, len);
    anvil::free_keep_errno(copy);
    return r;
}
